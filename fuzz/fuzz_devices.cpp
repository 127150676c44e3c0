// The input is a list of what the input devices of the keys and encoders do: events, bytes that are none,
// failures. What the readers make of each read is held against a plain reading of the records.

#include <linux/input.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "hw/fp_button.h"
#include "hw/fp_renc.h"
#include "tests/unit/fake_kernel.h"

namespace {

constexpr const char* kPaths[] = {"/dev/input/event1", "/dev/input/event2", "/dev/input/event3",
                                  "/dev/input/event4"};
constexpr int kKeys = 3;  // the index of their path; encoders before it
constexpr int kActiveKeys = 6;
constexpr std::size_t kMostRead = 1024;
constexpr int kMostMs = 86400999;  // a day and what a time stamp has beyond its seconds
constexpr std::int64_t kUsPerSec = 1000000;
constexpr int kErrors[] = {EAGAIN, EINTR, EIO, ENODEV};

std::vector<input_event> wholeEvents(const std::string& bytes) {
    std::vector<input_event> events(std::min(bytes.size(), kMostRead) / sizeof(input_event));
    if (!events.empty()) {
        std::memcpy(events.data(), bytes.data(), events.size() * sizeof(input_event));
    }
    return events;
}

std::string eventBytes(FuzzInput& input) {
    constexpr std::uint16_t kTypes[] = {EV_KEY, EV_REL, EV_SYN, EV_MSC};
    input_event event = {};
    const unsigned int kind = input.byte();
    event.type = kTypes[kind % 4];
    event.code = static_cast<std::uint16_t>(kind / 4 % 16 + 96);
    event.value = static_cast<signed char>(input.byte());
    if (kind >= 128) {
        event.value = static_cast<std::int32_t>(input.word());
        event.input_event_sec = static_cast<decltype(event.input_event_sec)>(input.word());
        event.input_event_usec = static_cast<decltype(event.input_event_usec)>(input.word());
    } else {
        event.input_event_sec = 1000 + input.byte();
    }
    return {reinterpret_cast<const char*>(&event), sizeof event};
}

class Devices {
public:
    Devices() {
        m_kernel.recordCalls(false);
        for (const char* path : kPaths) {
            m_kernel.device(path);
        }
        rencBuildAll(m_encoders);
        rencOpenAll(m_encoders);
        buttonBuildGrp(&m_keys);
        for (int i = 0; i < kActiveKeys; ++i) {
            buttonBuildEntry(&m_keys, i, "key", i + 1, 0);
        }
        buttonOpenGrp(&m_keys);
    }
    ~Devices() {
        rencCloseAll(m_encoders);
        buttonCloseGrp(&m_keys);
        require(m_kernel.openPaths().empty(), "every device is closed");
    }
    Devices(const Devices&) = delete;
    Devices& operator=(const Devices&) = delete;

    // One read that gives these bytes; none is the end of the file.
    void read(int device, const std::string& bytes) {
        if (isOpen(device)) {
            m_kernel.device(kPaths[device]).queueRead(bytes);
            device == kKeys ? readKeys(bytes) : readEncoder(device, bytes);
        }
    }
    // One read that fails.
    void fail(int device, int error) {
        if (isOpen(device)) {
            m_kernel.device(kPaths[device]).queueReadError(error);
            require((device == kKeys ? buttonGetGrpData(&m_keys) : rencGetChg(m_encoders, device)) == 0,
                    "a read that fails brings nothing");
            require(isOpen(device) == (error != ENODEV), "only a device that is gone is closed");
        }
    }

private:
    [[nodiscard]] bool isOpen(int device) const {
        return (device == kKeys ? m_keys.iFd : m_encoders[device].iFd) >= 0;
    }

    void readKeys(const std::string& bytes) {
        const std::vector<input_event> events = wholeEvents(bytes);
        noteTimes(events);
        fp_btnGrp_struct expected = m_keys;
        for (fp_btn_struct& key : expected.btn) {
            key.iChange = events.empty() ? key.iChange : 0;
        }
        for (const input_event& event : events) {
            const int i = event.type == EV_KEY ? event.code - 100 : -1;
            if (i >= 0 && i < kActiveKeys) {
                expected.btn[i].iCurrVal = event.value;
                expected.btn[i].iChange = 1;
            }
        }
        const int changed = buttonGetGrpData(&m_keys);
        int count = 0;
        for (int i = 0; i < kNumButtons; ++i) {
            require(m_keys.btn[i].iCurrVal == expected.btn[i].iCurrVal,
                    "a key has the value of its last event");
            require(m_keys.btn[i].iChange == expected.btn[i].iChange, "a key with an event has changed");
            requireElapsed(m_keys.btn[i].iElapsedMs);
            count += !events.empty() && expected.btn[i].iChange != 0 ? 1 : 0;
        }
        require(changed == count, "as many keys as changed are told");
    }

    void readEncoder(int i, const std::string& bytes) {
        bool moved = false;
        std::uint32_t steps = 0;
        const std::vector<input_event> events = wholeEvents(bytes);
        noteTimes(events);
        for (const input_event& event : events) {
            moved = moved || event.type == EV_REL;
            steps += event.type == EV_REL ? static_cast<std::uint32_t>(event.value) : 0;
        }
        require(rencGetChg(m_encoders, i) == static_cast<int>(steps), "the steps of one read add up");
        require(!moved || m_encoders[i].iRotSteps == static_cast<int>(steps),
                "the record has the steps as well");
        requireElapsed(m_encoders[i].iElapsedMs);
    }

    // Of time stamps that a kernel would give; others are only to be safe.
    void noteTimes(const std::vector<input_event>& events) {
        for (const input_event& event : events) {
            const auto us = static_cast<std::int64_t>(event.input_event_usec);
            m_timesAreGood = m_timesAreGood && us >= 0 && us < kUsPerSec;
        }
    }
    void requireElapsed(int ms) const {
        require(!m_timesAreGood || (ms >= 0 && ms <= kMostMs), "no more than a day elapses");
    }

    bool m_timesAreGood = true;
    FakeKernel m_kernel;
    fp_renc_struct m_encoders[kNumEncoders];
    fp_btnGrp_struct m_keys = {};
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    Devices devices;
    std::string pending;
    while (!input.isEmpty()) {
        const unsigned int what = input.byte();
        const int device = static_cast<int>(what / 8 % 4);
        switch (what % 8) {
            case 0:
                devices.fail(device, kErrors[what / 32 % std::size(kErrors)]);
                break;
            case 1:
                pending += input.bytes();
                break;
            case 2:
            case 3:
                devices.read(device, pending.substr(0, kMostRead));
                pending.clear();
                break;
            default:
                pending += eventBytes(input);
        }
    }
    return 0;
}
