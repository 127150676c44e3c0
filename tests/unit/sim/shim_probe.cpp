// A program for the emulated panel to run: "shim_probe SCENARIO" uses the devices as any program would and
// checks what the C library gives back. Exit status: 0 passed, 1 a check failed (told on standard error), 2
// no such scenario. What needs no script holds on a real kernel too, where tests/board runs it; what only the
// emulation does stands in "limits".
#include <fcntl.h>
#include <linux/input.h>
#include <linux/spi/spidev.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

int failures = 0;

void check(bool holds, const char* what, int line) {
    if (!holds) {
        std::fprintf(stderr, "shim_probe: line %d: %s (errno %d)\n", line, what, errno);
        ++failures;
    }
}
#define CHECK(what) check((what), #what, __LINE__)
#define CHECK_FAILS(call, error) CHECK((errno = 0, (call) == -1 && errno == (error)))

constexpr char kLed[] = "/sys/class/leds/pca963x:grn:c2/brightness";
constexpr char kLedMaximum[] = "/sys/class/leds/pca963x:grn:c2/max_brightness";
constexpr char kLedTrigger[] = "/sys/class/leds/pca963x:grn:c2/trigger";
constexpr char kCommands[] = "/dev/spidev3.0";
constexpr char kGain[] = "/dev/spidev4.0";
constexpr char kKeys[] = "/dev/input/event4";
constexpr char kExport[] = "/sys/class/gpio/export";
constexpr char kUnexport[] = "/sys/class/gpio/unexport";

ssize_t put(int fd, const std::string& text) {
    return write(fd, text.data(), text.size());
}

std::string get(int fd, std::size_t room = 64) {
    std::string text(room, '?');
    const ssize_t length = read(fd, text.data(), room);
    return length < 0 ? "error" : text.substr(0, static_cast<std::size_t>(length));
}

std::string getFromStart(int fd) {
    CHECK(lseek(fd, 0, SEEK_SET) == 0);
    return get(fd);
}

int transferOf(int fd, const std::vector<unsigned char>& bytes, void* received = nullptr) {
    spi_ioc_transfer transfer{};
    transfer.tx_buf = reinterpret_cast<std::uintptr_t>(bytes.data());
    transfer.rx_buf = reinterpret_cast<std::uintptr_t>(received);
    transfer.len = static_cast<std::uint32_t>(bytes.size());
    return ioctl(fd, SPI_IOC_MESSAGE(1), &transfer);
}

void attributes() {
    const int fd = open(kLed, O_RDWR);
    CHECK(put(fd, "82") == 2);
    CHECK(getFromStart(fd) == "82\n");
    CHECK(get(fd).empty());
    CHECK(lseek(fd, 1, SEEK_SET) == 1 && get(fd, 1) == "2" && lseek(fd, 0, SEEK_CUR) == 2);
    CHECK(put(fd, "300\n") == 4);
    CHECK(getFromStart(fd) == "255\n");
    for (const char* bad : {"x", "-1", "8 2", "\n", "82x", "1\n\n"}) {
        CHECK_FAILS(put(fd, bad), EINVAL);
    }
    CHECK_FAILS(put(fd, "4294967296"), ERANGE);
    CHECK(put(fd, "") == 0);
    CHECK(getFromStart(fd) == "255\n");
    CHECK(close(fd) == 0);
    CHECK_FAILS(open(kLedMaximum, O_RDWR), EACCES);
    CHECK(getFromStart(open(kLedMaximum, O_RDONLY)) == "255\n");
    const int trigger = open(kLedTrigger, O_RDWR);
    CHECK(getFromStart(trigger).rfind("[none]", 0) == 0);
    CHECK(put(trigger, "none\n") == 5);
    CHECK_FAILS(put(trigger, "timer"), EINVAL);
    CHECK_FAILS(open("/sys/class/leds/pca963x:blu:c2/brightness", O_RDWR), ENOENT);
}

void streams() {
    std::FILE* file = std::fopen(kLed, "w");
    CHECK(file != nullptr && std::fprintf(file, "%d", 57) == 2 && fileno(file) >= 0);
    CHECK(std::fclose(file) == 0);
    file = std::fopen(kLed, "r+");
    std::array<char, 16> text{};
    CHECK(std::fgets(text.data(), text.size(), file) != nullptr && std::strcmp(text.data(), "57\n") == 0);
    std::rewind(file);
    CHECK(std::fputs("rubbish", file) >= 0);
    CHECK(std::fclose(file) == EOF && errno == EINVAL);
    CHECK(std::fopen("/sys/class/leds/pca963x:none/brightness", "r") == nullptr && errno == ENOENT);
    std::ofstream(kLed) << 140;
    int level = 0;
    std::ifstream(kLed) >> level;
    CHECK(level == 140);
}

int gpioFile(const char* name, int flags) {
    return open((std::string("/sys/class/gpio/") + name).c_str(), flags);
}

void gpio() {
    const int exports = open(kExport, O_WRONLY);
    const int unexports = open(kUnexport, O_WRONLY);
    CHECK_FAILS(gpioFile("gpio9/value", O_RDWR), ENOENT);
    CHECK_FAILS(put(unexports, "9"), EINVAL);
    CHECK_FAILS(put(exports, "9999"), EINVAL);
    CHECK(put(exports, "9") == 1);
    CHECK_FAILS(put(exports, "9"), EBUSY);
    const int direction = gpioFile("gpio9/direction", O_RDWR);
    const int value = gpioFile("gpio9/value", O_RDWR);
    CHECK(get(direction) == "in\n");
    CHECK_FAILS(put(value, "1"), EPERM);
    CHECK(put(direction, "high") == 4 && getFromStart(direction) == "out\n" && get(value) == "1\n");
    CHECK(put(value, "0") == 1 && getFromStart(value) == "0\n");
    CHECK_FAILS(put(value, "on"), EINVAL);
    CHECK_FAILS(put(direction, "up"), EINVAL);
    CHECK(put(value, "1") == 1 && put(unexports, "9") == 1);
    CHECK_FAILS(put(value, "0"), ENODEV);
    CHECK(put(exports, "0x9") == 3 && get(gpioFile("gpio9/value", O_RDONLY)) == "1\n");
}

void buses() {
    const int fd = open(kGain, O_RDWR | O_NONBLOCK);
    std::uint8_t mode = 3;
    std::uint8_t bits = 16;
    std::uint32_t speed = 4000000;
    CHECK(ioctl(fd, SPI_IOC_WR_MODE, &mode) == 0);
    CHECK(ioctl(fd, SPI_IOC_WR_BITS_PER_WORD, &bits) == 0);
    CHECK(ioctl(fd, SPI_IOC_WR_MAX_SPEED_HZ, &speed) == 0);
    mode = bits = 0;
    speed = 0;
    CHECK(ioctl(fd, SPI_IOC_RD_MODE, &mode) == 0 && mode == 3);
    CHECK(ioctl(fd, SPI_IOC_RD_BITS_PER_WORD, &bits) == 0 && bits == 16);
    CHECK(ioctl(fd, SPI_IOC_RD_MAX_SPEED_HZ, &speed) == 0 && speed == 4000000);
    speed = 0;
    CHECK_FAILS(ioctl(fd, SPI_IOC_WR_MAX_SPEED_HZ, &speed), EINVAL);
    CHECK_FAILS(ioctl(fd, FIONREAD, &speed), ENOTTY);
    std::array<unsigned char, 2> received = {1, 1};
    CHECK(transferOf(fd, {0x1F, 0}, received.data()) == 2 && received[0] == 0 && received[1] == 0);
    CHECK_FAILS(transferOf(fd, {0x1F}), EINVAL);
    CHECK_FAILS(transferOf(fd, std::vector<unsigned char>(4098)), EMSGSIZE);
    CHECK(transferOf(fd, std::vector<unsigned char>(4096)) == 4096);
    const std::array<unsigned char, 2> one = {5, 0};
    std::array<spi_ioc_transfer, 2> two{};
    for (spi_ioc_transfer& transfer : two) {
        transfer.tx_buf = reinterpret_cast<std::uintptr_t>(one.data());
        transfer.len = 2;
    }
    CHECK(ioctl(fd, SPI_IOC_MESSAGE(2), two.data()) == 4);
    CHECK(write(fd, one.data(), 2) == 2);
    CHECK(get(fd, 2) == std::string(2, '\0'));
    CHECK_FAILS(lseek(fd, 0, SEEK_SET), ESPIPE);
}

// One name for all copies of a descriptor, and for copies in other processes; a number that is used again is
// not it.
void copies() {
    const int first = open(kLed, O_RDWR);
    const int second = dup(first);
    CHECK(put(first, "1") == 1 && put(second, "2") == 1);
    const pid_t child = fork();
    if (child == 0) {
        _exit(put(second, "3") == 1 && open(kCommands, O_RDWR) >= 0 ? 0 : 1);
    }
    int status = -1;
    CHECK(waitpid(child, &status, 0) == child && status == 0);
    CHECK(getFromStart(first) == "3\n");
    close(first);
    CHECK(put(second, "4") == 1);
    std::array<int, 2> ends{};
    CHECK(pipe(ends.data()) == 0 && (ends[0] == first || ends[1] == first));
    CHECK(put(ends[1], "foreign") == 7 && get(ends[0]) == "foreign");
    CHECK_FAILS(write(-1, "x", 1), EBADF);
    CHECK((fcntl(second, F_GETFD) & FD_CLOEXEC) == 0);
    CHECK((fcntl(open(kLed, O_RDWR | O_CLOEXEC), F_GETFD) & FD_CLOEXEC) != 0);
}

// Far more opens than there are slots for files: closing gives them back.
void reopening() {
    for (int i = 0; i < 3000; ++i) {
        const int fd = open(kLed, O_RDWR);
        CHECK(put(fd, std::to_string(i % 256)) > 0);
        close(fd);
    }
    CHECK(getFromStart(open(kLed, O_RDONLY)) == std::to_string(2999 % 256) + '\n');
}

void otherForms() {
    CHECK(open64(kLed, O_RDWR) >= 0);
    CHECK(openat(AT_FDCWD, kLed, O_RDWR) >= 0);
    CHECK(openat64(AT_FDCWD, kLed, O_RDWR) >= 0);
    CHECK(open("/dev/null", O_RDWR) >= 0);
    CHECK_FAILS(open("/nowhere/at/all", O_RDONLY), ENOENT);
    const int fd = open(kLed, O_RDWR);
    CHECK(lseek64(fd, 0, SEEK_SET) == 0);
    CHECK_FAILS(static_cast<int>(lseek64(fd, -1, SEEK_SET)), EINVAL);
    openlog("probe", 0, LOG_USER);
    const std::string format = "%s failed: %m";  // not as a literal: compilers do not know %m in C++
    errno = EPERM;
    syslog(LOG_ERR, format.c_str(), "something");
    CHECK(errno == EPERM);
}

void reads() {
    const int fd = open(kKeys, O_RDONLY | O_NONBLOCK);
    std::array<input_event, 4> events{};
    CHECK_FAILS(static_cast<int>(read(fd, events.data(), sizeof events)), EAGAIN);
    CHECK_FAILS(static_cast<int>(read(fd, events.data(), sizeof(input_event) - 1)), EINVAL);
    std::array<unsigned char, 96> keys{};
    CHECK(ioctl(fd, EVIOCGKEY(keys.size()), keys.data()) == 96);
    CHECK(ioctl(fd, EVIOCGKEY(14), keys.data()) == 14);
}

// Where the emulation knows less than the kernel.
void limits() {
    int unused = 0;
    CHECK_FAILS(ioctl(open(kLed, O_RDWR), FIONREAD, &unused), ENOTTY);
    CHECK(get(open(kLedTrigger, O_RDONLY)) == "[none]\n");
    CHECK_FAILS(put(open(kExport, O_WRONLY), "10"), EINVAL);
    CHECK_FAILS(ioctl(open(kKeys, O_RDONLY), EVIOCGVERSION, &unused), EINVAL);
}

// Tells what comes from a device, until standard input ends: "held CODE" for what is held at the start,
// "event TYPE CODE VALUE", "bytes N" for each read, "error ERRNO" for the one that ends the telling.
void tellEvents(const char* path) {
    const int fd = open(path, O_RDONLY | O_NONBLOCK);
    if (fd < 0) {
        std::printf("no device: %d\n", errno);
        return;
    }
    std::array<unsigned char, 96> keys{};
    ioctl(fd, EVIOCGKEY(keys.size()), keys.data());
    for (unsigned code = 0; code < keys.size() * 8; ++code) {
        if (((keys[code / 8] >> code % 8) & 1) != 0) {
            std::printf("held %u\n", code);
        }
    }
    std::printf("ready\n");
    for (;;) {
        fd_set ready;
        FD_ZERO(&ready);
        FD_SET(fd, &ready);
        FD_SET(STDIN_FILENO, &ready);
        select(fd + 1, &ready, nullptr, nullptr, nullptr);
        if (!FD_ISSET(fd, &ready)) {
            return;
        }
        std::array<input_event, 43> events{};
        const ssize_t length =
            read(fd, events.data(), sizeof events - 1);  // not a multiple of the event's size
        if (length < 0) {
            std::printf("error %d\n", errno);
            return;
        }
        std::printf("events %d\n", static_cast<int>(static_cast<std::size_t>(length) / sizeof(input_event)));
        for (std::size_t i = 0; i < static_cast<std::size_t>(length) / sizeof(input_event); ++i) {
            if (events[i].type != EV_SYN) {
                std::printf("event %d %d %d\n", events[i].type, events[i].code, events[i].value);
            }
        }
    }
}

void keys() {
    tellEvents(kKeys);
}
void rear() {
    tellEvents("/dev/input/event3");
}

// Opens, configures, transfers and writes again for each byte of input, and tells the errno of each failure:
// where faults go is the script's business.
void faults() {
    const int led = open(kLed, O_RDWR);
    std::printf("open %d\n", led < 0 ? errno : 0);
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) == 1) {
        const ssize_t written = write(led, "82", 2);
        std::printf("write %d\n", written < 0 ? -errno : static_cast<int>(written));
    }
}

// Draws one frame, its pages filled with 01 02 04 ..., from controller column 32 on.
void frame() {
    const int commands = open(kCommands, O_RDWR);
    const int data = open("/dev/spidev3.1", O_RDWR);
    CHECK(transferOf(commands, {0xA1, 0xAF, 0x81, 0x52}) == 4);
    for (unsigned page = 0; page < 8; ++page) {
        CHECK(transferOf(commands, {static_cast<unsigned char>(0xB0U | page), 0x00, 0x12}) == 3);
        CHECK(transferOf(data, std::vector<unsigned char>(96, static_cast<unsigned char>(1U << page))) == 96);
    }
    std::printf("drawn\n");
    (void)std::getchar();
}

void echo() {
    for (int c = std::getchar(); c != EOF; c = std::getchar()) {
        std::putchar(c);
    }
}

// Ends by a signal, with a line that it has written just before and one that it has not ended.
void crash() {
    std::printf("last\nand");
    std::fflush(stdout);
    signal(SIGSEGV, SIG_DFL);
    kill(getpid(), SIGSEGV);
}

// Tells what standard input and output are.
void tellStreams() {
    for (const char* file : {"/proc/self/fd/0", "/proc/self/fd/1"}) {
        std::array<char, 256> target{};
        CHECK(readlink(file, target.data(), target.size() - 1) > 0);
        std::fprintf(stderr, "%s\n", target.data());
    }
}

void ends() {
    std::exit(7);
}

// Outlives the simulator: the devices are gone then, but reading from them ends.
void simulatorDeath() {
    prctl(PR_SET_PDEATHSIG, 0);
    const int led = open(kLed, O_RDWR);
    const int events = open(kKeys, O_RDONLY);
    CHECK(put(led, "1") == 1);
    kill(getppid(), SIGKILL);
    std::array<char, 1> end{};
    CHECK(syscall(SYS_read, events, end.data(), end.size()) == 0);  // the pipe's end: the simulator is gone
    CHECK_FAILS(put(led, "2"), ENODEV);
    std::array<input_event, 4> room{};
    CHECK_FAILS(static_cast<int>(read(events, room.data(), sizeof room)), ENODEV);
    CHECK_FAILS(open(kLed, O_RDWR), ENOENT);
    std::printf(failures == 0 ? "passed\n" : "failed\n");
}

void noSimulator() {
    CHECK_FAILS(open(kLed, O_RDWR), ENOENT);
}

// Leaves a process behind and tells its number.
void leaveBehind() {
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    std::printf("%d\n", static_cast<int>(child));
}

// ---- Time ----

constexpr std::int64_t kClockStart = 1577836800;  // seconds

// Microseconds since the clock's start.
std::int64_t present() {
    timeval time{};
    CHECK(gettimeofday(&time, nullptr) == 0);
    return (std::int64_t{time.tv_sec} - kClockStart) * 1000000 + time.tv_usec;
}

// What the call has cost, in microseconds of the clock.
template <typename Call>
std::int64_t cost(Call call) {
    const std::int64_t start = present();
    call();
    return present() - start;
}

// A pipe with nothing in it.
std::array<int, 2> emptyPipe() {
    std::array<int, 2> ends{};
    CHECK(pipe(ends.data()) == 0);
    return ends;
}

int selectOn(int fd, timeval timeout) {
    fd_set readers;
    FD_ZERO(&readers);
    FD_SET(fd, &readers);
    return select(fd + 1, &readers, nullptr, nullptr, &timeout);
}

void tellingTime() {
    CHECK(present() == 0);
    CHECK(cost([] { std::vector<int>(1000000, 1).shrink_to_fit(); }) == 0);
    CHECK(usleep(1700000) == 0);
    CHECK(time(nullptr) == kClockStart + 1);
    time_t stored = 0;
    CHECK(time(&stored) == stored);
    timespec now{};
    for (const clockid_t id : {CLOCK_REALTIME, CLOCK_REALTIME_COARSE}) {
        CHECK(clock_gettime(id, &now) == 0 && now.tv_sec == kClockStart + 1 && now.tv_nsec == 700000000);
    }
    for (const clockid_t id :
         {CLOCK_MONOTONIC, CLOCK_MONOTONIC_RAW, CLOCK_MONOTONIC_COARSE, CLOCK_BOOTTIME}) {
        CHECK(clock_gettime(id, &now) == 0 && now.tv_sec == 1 && now.tv_nsec == 700000000);
    }
    CHECK(clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now) == 0 && now.tv_sec < 3600);
    CHECK_FAILS(clock_gettime(999, &now), EINVAL);
}

void sleeping() {
    using std::chrono::steady_clock;
    CHECK(cost([] { usleep(1500); }) == 1500);
    CHECK(cost([] { sleep(86400); }) == 86400000000);
    CHECK(cost([] { std::this_thread::sleep_for(std::chrono::milliseconds(30)); }) == 30000);
    const auto end = steady_clock::now() + std::chrono::milliseconds(30);
    CHECK(cost([&] { std::this_thread::sleep_until(end); }) == 30000 && steady_clock::now() == end);
    timespec little = {0, 1};
    CHECK(cost([&] { CHECK(nanosleep(&little, nullptr) == 0); }) == 1);
    const timespec wrong = {0, 1000000000};
    CHECK_FAILS(nanosleep(&wrong, nullptr), EINVAL);
    CHECK(clock_nanosleep(CLOCK_MONOTONIC, 0, &wrong, nullptr) == EINVAL);
    timespec later{};
    clock_gettime(CLOCK_REALTIME, &later);
    later.tv_sec += 5;
    CHECK(cost([&] { CHECK(clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &later, nullptr) == 0); }) ==
          5000000);
    CHECK(cost([&] { CHECK(clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &later, nullptr) == 0); }) == 0);
}

void selecting() {
    const auto [out, in] = emptyPipe();
    CHECK(cost([fd = out] { CHECK(selectOn(fd, {0, 250000}) == 0); }) == 250000);
    CHECK(cost([fd = out] { CHECK(selectOn(fd, {0, 0}) == 0); }) == 0);
    CHECK_FAILS(selectOn(out, {-1, 0}), EINVAL);
    const int closed = dup(out);
    close(closed);
    CHECK_FAILS(selectOn(closed, {1, 0}), EBADF);
    fd_set readers;
    fd_set writers;
    FD_ZERO(&readers);
    FD_ZERO(&writers);
    FD_SET(out, &readers);
    timeval timeout = {1, 500000};
    CHECK(select(in + 1, &readers, nullptr, nullptr, &timeout) == 0 && !FD_ISSET(out, &readers));
    CHECK(timeout.tv_sec == 0 && timeout.tv_usec == 0);
    FD_SET(out, &readers);
    FD_SET(in, &writers);
    timeout = {1, 500000};
    CHECK(select(in + 1, &readers, &writers, nullptr, &timeout) == 1);
    CHECK(!FD_ISSET(out, &readers) && FD_ISSET(in, &writers));
    CHECK(timeout.tv_sec == 1 && timeout.tv_usec == 500000);
    const timespec half = {0, 500000000};
    CHECK(cost([&] { CHECK(pselect(0, nullptr, nullptr, nullptr, &half, nullptr) == 0); }) == 500000);
    CHECK(put(in, "x") == 1);
    FD_SET(out, &readers);
    CHECK(select(out + 1, &readers, nullptr, nullptr, nullptr) == 1 && FD_ISSET(out, &readers));
}

void polling() {
    const auto [out, in] = emptyPipe();
    pollfd asked = {out, POLLIN, 0};
    CHECK(cost([&] { CHECK(poll(&asked, 1, 40) == 0); }) == 40000);
    CHECK(cost([&] { CHECK(poll(nullptr, 0, 40) == 0); }) == 40000);
    const timespec half = {0, 500000000};
    CHECK(cost([&] { CHECK(ppoll(&asked, 1, &half, nullptr) == 0); }) == 500000);
    CHECK(put(in, "x") == 1);
    CHECK(cost([&] { CHECK(poll(&asked, 1, -1) == 1 && asked.revents == POLLIN); }) == 0);
}

// A child that was forked has the time of day of its parent, and sleeps by the machine's clock.
void forkedChild() {
    const std::int64_t start = present();
    const pid_t child = fork();
    if (child == 0) {
        _exit(present() == start && usleep(1000) == 0 && present() == start ? 0 : 1);
    }
    int status = -1;
    CHECK(waitpid(child, &status, 0) == child && status == 0);
    CHECK(present() == start);
}

void clocks() {
    tellingTime();
    sleeping();
    selecting();
    polling();
    forkedChild();
}

// Real milliseconds, past the C library.
void spinFor(std::int64_t milliseconds) {
    const auto real = [] {
        timespec now{};
        syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
        return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
    };
    const std::int64_t end = real() + milliseconds;
    while (real() < end) {
    }
}

// Runs this program once more, as companion of this process, until it has joined the clock.
pid_t startCompanion(const char* scenario, int reader, int writer) {
    const pid_t child = fork();
    if (child == 0) {
        dup2(writer, STDOUT_FILENO);
        execl("/proc/self/exe", "companion", scenario, nullptr);
        _exit(127);
    }
    CHECK(get(reader, 7) == "joined\n");
    return child;
}

// Sixty virtual seconds cannot pass while another process is at work: what it does arrives first.
void companion() {
    const auto [out, in] = emptyPipe();
    const pid_t writer = startCompanion("companion-writes", out, in);
    CHECK(cost([fd = out] { CHECK(selectOn(fd, {60, 0}) == 1); }) == 0);
    CHECK(waitpid(writer, nullptr, 0) == writer);
    sigset_t usr1;
    sigset_t none;
    sigemptyset(&none);
    sigemptyset(&usr1);
    sigaddset(&usr1, SIGUSR1);
    sigprocmask(SIG_BLOCK, &usr1, nullptr);  // it comes in the wait, or not at all
    signal(SIGUSR1, [](int) {});
    const auto [second, secondIn] = emptyPipe();
    const pid_t signaller = startCompanion("companion-signals", second, secondIn);
    const timespec minute = {60, 0};
    CHECK(cost([&] { CHECK_FAILS(pselect(0, nullptr, nullptr, nullptr, &minute, &none), EINTR); }) == 0);
    CHECK(waitpid(signaller, nullptr, 0) == signaller);
    CHECK(cost([] { usleep(1000); }) == 1000);
}

void companionWrites() {
    std::printf("joined\n");
    spinFor(50);
    std::printf("word\n");
}

void companionSignals() {
    std::printf("joined\n");
    spinFor(50);
    kill(getppid(), SIGUSR1);
}

void tellTime() {
    std::printf("%lld\n", static_cast<long long>(time(nullptr)));
}

// Tells the time stamp of each key event, until standard input ends.
void stamps() {
    const int fd = open(kKeys, O_RDONLY | O_NONBLOCK);
    std::printf("ready\n");
    std::array<pollfd, 2> asked = {{{fd, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    while (poll(asked.data(), asked.size(), -1) > 0 && asked[1].revents == 0) {
        std::array<input_event, 2> events{};
        CHECK(read(fd, events.data(), sizeof events) == sizeof events);
        std::printf("at %llu.%06llu\n", static_cast<unsigned long long>(events[0].input_event_sec),
                    static_cast<unsigned long long>(events[0].input_event_usec));
    }
}

// Until standard input ends: a line a second.
void ticks() {
    pollfd asked = {STDIN_FILENO, POLLIN, 0};
    int count = 0;
    do {
        std::printf("tick %d\n", ++count);
    } while (poll(&asked, 1, 1000) == 0);
}

// Until standard input ends: what select gives after a tenth of a second, or its error.
void selects() {
    int result = 0;
    do {
        result = selectOn(STDIN_FILENO, {0, 100000});
        std::printf("%s\n", result < 0 ? strerrorname_np(errno) : std::to_string(result).c_str());
    } while (result <= 0);
}

void spin() {
    while (time(nullptr) == kClockStart) {
    }
}

void writeForEver() {
    const int fd = open(kLed, O_RDWR);
    while (put(fd, "1") == 1) {
    }
}

void sleepForEver() {
    for (;;) {
        sleep(1000000);
    }
}

constexpr struct {
    const char* name;
    void (*run)();
} kScenarios[] = {
    {"attributes", attributes},
    {"buses", buses},
    {"clocks", clocks},
    {"companion", companion},
    {"companion-signals", companionSignals},
    {"companion-writes", companionWrites},
    {"copies", copies},
    {"crash", crash},
    {"echo", echo},
    {"ends", ends},
    {"faults", faults},
    {"frame", frame},
    {"gpio", gpio},
    {"keys", keys},
    {"leave-behind", leaveBehind},
    {"limits", limits},
    {"no-simulator", noSimulator},
    {"other-forms", otherForms},
    {"reads", reads},
    {"rear", rear},
    {"reopening", reopening},
    {"selects", selects},
    {"simulator-death", simulatorDeath},
    {"sleep", sleepForEver},
    {"spin", spin},
    {"stamps", stamps},
    {"streams", streams},
    {"tell-streams", tellStreams},
    {"tell-time", tellTime},
    {"ticks", ticks},
    {"write", writeForEver},
};

}  // namespace

int main(int argc, char** argv) {
    setlinebuf(stdout);
    for (const auto& scenario : kScenarios) {
        if (argc > 1 && std::strcmp(argv[1], scenario.name) == 0) {
            scenario.run();
            return failures == 0 ? 0 : 1;
        }
    }
    std::fprintf(stderr, "shim_probe: no such scenario\n");
    return 2;
}
