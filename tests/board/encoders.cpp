// Three input devices that report motion as rotary encoders do, for the emulated board, whose kernel has no
// driver for real ones. Reads lines "ENCODER STEPS" (ENCODER is 0, 1 or 2) and reports each as one event.
#include <fcntl.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace {

// The descriptor of a new device, or -1.
int makeEncoder(unsigned int number) {
    const int fd = open("/dev/uinput", O_WRONLY | O_CLOEXEC);
    uinput_setup setup{};
    setup.id.bustype = BUS_HOST;
    std::snprintf(setup.name, sizeof setup.name, "encoder %u", number);
    const bool made = fd >= 0 && ioctl(fd, UI_SET_EVBIT, EV_REL) == 0 &&
                      ioctl(fd, UI_SET_RELBIT, REL_X) == 0 && ioctl(fd, UI_DEV_SETUP, &setup) == 0 &&
                      ioctl(fd, UI_DEV_CREATE) == 0;
    return made ? fd : -1;
}

bool report(int fd, int steps) {
    std::array<input_event, 2> events{};
    events[0].type = EV_REL;
    events[0].code = REL_X;
    events[0].value = steps;
    events[1].type = EV_SYN;
    return write(fd, events.data(), sizeof events) == static_cast<ssize_t>(sizeof events);
}

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::array<int, 3> encoders{};
    for (unsigned int i = 0; i < encoders.size(); ++i) {
        encoders[i] = makeEncoder(i);
        if (encoders[i] < 0) {
            std::perror("encoders: uinput");
            return 1;
        }
    }
    std::puts("ready");
    unsigned int encoder = 0;
    int steps = 0;
    while (std::scanf("%u %d", &encoder, &steps) == 2) {
        if (encoder >= encoders.size() || !report(encoders[encoder], steps)) {
            std::perror("encoders: report");
        }
    }
    return 0;
}
