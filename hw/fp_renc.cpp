#include "hw/fp_renc.h"

#include <fcntl.h>
#include <linux/input.h>
#include <syslog.h>

#include <cerrno>

#include "hw/DeviceLog.h"
#include "hw/FileDescriptor.h"
#include "hw/InputEvents.h"
#include "hw/ox_utility.h"

namespace {

struct EncoderDefaults {
    const char* path;
    int keyCode;
};
constexpr EncoderDefaults kDefaults[kNumEncoders] = {
    {"/dev/input/event1", 120},
    {"/dev/input/event2", 121},
    {"/dev/input/event3", 122},
};

bool isEncoder(int idx) {
    return idx >= 0 && idx < kNumEncoders;
}

void openEncoder(fp_renc_struct* renc) {
    renc->iFd = open(renc->sFileName, O_RDONLY | O_NONBLOCK);
    if (renc->iFd < 0) {
        logDeviceError("rencOpen", errno);
        return;
    }
    renc->iCurrPos = 0;
    renc->iRotSteps = 0;
}

// Sums the motion of the records into the encoder. Returns false when there was none.
bool addMotion(fp_renc_struct* renc, const InputEvents& events, std::size_t count) {
    unsigned int steps = 0;
    bool moved = false;
    for (std::size_t i = 0; i < count; ++i) {
        if (events[i].type != EV_REL) {
            continue;
        }
        steps += static_cast<unsigned int>(events[i].value);
        if (!moved) {
            moved = true;
            renc->tvPrev = renc->tvCurr;
        }
        renc->tvCurr = inputEventTime(events[i]);
    }
    renc->iRotSteps = static_cast<int>(steps);
    return moved;
}

}  // namespace

void rencBuildAll(fp_renc_struct* renc) {
    for (int i = 0; i < kNumEncoders; ++i) {
        renc[i] = {};
        renc[i].sFileName = kDefaults[i].path;
        renc[i].iFd = -1;
        renc[i].iKeyCode = renc[i].iExtKeyCode = kDefaults[i].keyCode;
    }
}

int rencBuildEntry(fp_renc_struct* renc, int idx, const char* name, int extKeyCode) {
    if (!isEncoder(idx)) {
        syslog(LOG_ERR, "%s Error: Rotary Encoder idx %d > max (%d)", "rencBuildEntry", idx,
               kNumEncoders - 1);
        return -1;
    }
    if (name != nullptr) {
        renc[idx].sName = name;
    }
    if (extKeyCode != -1) {
        renc[idx].iExtKeyCode = extKeyCode;
    }
    return 0;
}

void rencOpenAll(fp_renc_struct* renc) {
    for (int i = 0; i < kNumEncoders; ++i) {
        if (renc[i].sFileName != nullptr) {
            openEncoder(&renc[i]);
        }
    }
}

void rencCloseAll(fp_renc_struct* renc) {
    for (int i = 0; i < kNumEncoders; ++i) {
        closeDescriptor(&renc[i].iFd);
    }
}

int rencGetChg(fp_renc_struct* renc, int idx) {
    if (renc == nullptr || !isEncoder(idx)) {
        return 0;
    }
    InputEvents events;
    const std::size_t count = readInputEvents(&renc[idx].iFd, "rencGetChg", &events);
    if (count == 0 || !addMotion(&renc[idx], events, count)) {
        return 0;
    }
    renc[idx].iElapsedMs = oxut_elapsedMs(&renc[idx].tvPrev, &renc[idx].tvCurr);
    return renc[idx].iRotSteps;
}
