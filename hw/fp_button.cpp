#include "hw/fp_button.h"

#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "hw/DeviceLog.h"
#include "hw/InputEvents.h"
#include "hw/ox_utility.h"

namespace {

constexpr const char* kDevicePath = "/dev/input/event4";
constexpr int kFirstKeyCode = 100;
constexpr unsigned int kBitsPerByte = 8;
constexpr unsigned int kKeyStateBytes = 96;  // key codes 0 .. 767

bool isKeyDown(const unsigned char (&keys)[kKeyStateBytes], int code) {
    const auto bit = static_cast<unsigned int>(code);
    return bit < kKeyStateBytes * kBitsPerByte && (keys[bit / kBitsPerByte] >> bit % kBitsPerByte & 1) != 0;
}

void readInitialState(fp_btnGrp_struct* grp) {
    unsigned char keys[kKeyStateBytes] = {};
    if (ioctl(grp->iFd, EVIOCGKEY(sizeof(keys)), keys) < 0) {
        const int error = errno;
        syslog(LOG_ERR, "%s ioctl EVIOCGKEY Error %d: %s", "buttonOpenGrp", error, std::strerror(error));
        return;
    }
    for (fp_btn_struct& btn : grp->btn) {
        if (btn.iActive != 0) {
            btn.iCurrVal = isKeyDown(keys, btn.iKeyCode) ? 1 : 0;
        }
    }
}

// The first active button with the code, or null.
fp_btn_struct* findButton(fp_btnGrp_struct* grp, int code) {
    const auto found =
        std::find_if(std::begin(grp->btn), std::end(grp->btn),
                     [code](const fp_btn_struct& btn) { return btn.iActive != 0 && btn.iKeyCode == code; });
    return found != std::end(grp->btn) ? found : nullptr;
}

// The previous change is the last one before this read, however many events the read brings.
void applyEvent(fp_btn_struct* btn, const input_event& event) {
    btn->iCurrVal = event.value;
    if (btn->iChange == 0) {
        btn->iChange = 1;
        btn->tvPrev = btn->tvCurr;
    }
    btn->tvCurr = inputEventTime(event);
}

// Computes the elapsed times of the changed buttons and returns their number.
int finishChanges(fp_btnGrp_struct* grp) {
    int changed = 0;
    for (fp_btn_struct& btn : grp->btn) {
        if (btn.iChange != 0) {
            btn.iElapsedMs = oxut_elapsedMs(&btn.tvPrev, &btn.tvCurr);
            ++changed;
        }
    }
    return changed;
}

}  // namespace

void buttonBuildGrp(fp_btnGrp_struct* grp) {
    *grp = {};
    grp->sFileName = kDevicePath;
    grp->iFd = -1;
    for (int i = 0; i < kNumButtons; ++i) {
        grp->btn[i].iKeyCode = grp->btn[i].iExtKeyCode = kFirstKeyCode + i;
    }
}

int buttonBuildEntry(fp_btnGrp_struct* grp, int idx, const char* name, int extKeyCode, int type) {
    if (idx < 0 || idx >= kNumButtons) {
        syslog(LOG_ERR, "%s Error: button idx %d > max (%d)", "buttonBuildEntry", idx, kNumButtons - 1);
        return -1;
    }
    fp_btn_struct& btn = grp->btn[idx];
    btn.iActive = 1;
    if (name != nullptr) {
        btn.sName = name;
    }
    if (extKeyCode != -1) {
        btn.iExtKeyCode = extKeyCode;
    }
    if (type != -1) {
        btn.iType = type;
    }
    return 0;
}

int buttonOpenGrp(fp_btnGrp_struct* grp) {
    grp->iFd = open(grp->sFileName, O_RDONLY | O_NONBLOCK);
    if (grp->iFd < 0) {
        logDeviceError("buttonOpenGrp", errno);
        return -1;
    }
    readInitialState(grp);
    return grp->iFd;
}

int buttonGetGrpData(fp_btnGrp_struct* grp) {
    InputEvents events;
    const std::size_t count = readInputEvents(&grp->iFd, "buttonGetGrpData", &events);
    if (count == 0) {
        return 0;
    }
    for (fp_btn_struct& btn : grp->btn) {
        btn.iChange = 0;
    }
    for (std::size_t i = 0; i < count; ++i) {
        fp_btn_struct* btn = events[i].type == EV_KEY ? findButton(grp, events[i].code) : nullptr;
        if (btn != nullptr) {
            applyEvent(btn, events[i]);
        }
    }
    return finishChanges(grp);
}

void buttonCloseGrp(fp_btnGrp_struct* grp) {
    if (grp->iFd != -1) {
        close(grp->iFd);
    }
}
