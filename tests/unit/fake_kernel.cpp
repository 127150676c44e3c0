#include "tests/unit/fake_kernel.h"

#include <fcntl.h>
#include <linux/input.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ostream>

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int fd);
ssize_t __real_read(int fd, void* buffer, std::size_t size);
ssize_t __real_write(int fd, const void* data, std::size_t size);
int __real_ioctl(int fd, unsigned long request, ...);
off_t __real_lseek(int fd, off_t offset, int whence);
int __real_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout);
int __real_usleep(useconds_t microseconds);
int __real_gettimeofday(timeval* tv, void* zone);
std::FILE* __real_popen(const char* command, const char* mode);
int __real_pclose(std::FILE* stream);
void __real_openlog(const char* name, int option, int facility);
}

namespace {

FakeKernel* theKernel = nullptr;

constexpr const char* kStandardInput = "stdin";
constexpr long kUsPerSec = 1000000;

std::string hex(const Bytes& bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), " %02x", byte);
        text += digits;
    }
    return text;
}

// The names of the flags, the access mode first.
std::string flagNames(int flags) {
    struct Flag {
        int bits;
        const char* name;
    };
    static constexpr Flag kFlags[] = {
        {O_CREAT, "O_CREAT"},       {O_TRUNC, "O_TRUNC"},     {O_APPEND, "O_APPEND"}, {O_EXCL, "O_EXCL"},
        {O_NONBLOCK, "O_NONBLOCK"}, {O_CLOEXEC, "O_CLOEXEC"}, {O_NOCTTY, "O_NOCTTY"}};
    static constexpr const char* kModes[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "?"};
    std::string names = kModes[flags & O_ACCMODE];
    flags &= ~O_ACCMODE;
    for (const Flag& flag : kFlags) {
        if ((flags & flag.bits) == flag.bits) {
            names += std::string("|") + flag.name;
            flags &= ~flag.bits;
        }
    }
    return flags == 0 ? names : names + "|" + std::to_string(flags);
}

bool isTransfer(unsigned long request) {
    return _IOC_TYPE(request) == SPI_IOC_MAGIC && _IOC_NR(request) == 0;
}

bool isKeyState(unsigned long request) {
    return _IOC_TYPE(request) == 'E' && _IOC_NR(request) == _IOC_NR(EVIOCGKEY(0));
}

// The bytes sent by an SPI message of one or more transfers.
Bytes transferBytes(unsigned long request, const void* argument) {
    const auto* transfers = static_cast<const spi_ioc_transfer*>(argument);
    Bytes bytes;
    for (std::size_t i = 0; i < _IOC_SIZE(request) / sizeof(spi_ioc_transfer); ++i) {
        const auto* data =
            reinterpret_cast<const unsigned char*>(static_cast<std::uintptr_t>(transfers[i].tx_buf));
        bytes.insert(bytes.end(), data, data + transfers[i].len);
    }
    return bytes;
}

template <typename T>
std::string numberBehind(const void* argument) {
    T value;
    std::memcpy(&value, argument, sizeof(value));
    return std::to_string(value);
}

std::string describeRequest(const std::string& path, unsigned long request, const void* argument) {
    if (isTransfer(request)) {
        // One that leaves the chip selected must not pass for one that does not.
        const bool selected = static_cast<const spi_ioc_transfer*>(argument)->cs_change != 0;
        return "transfer " + path + hex(transferBytes(request, argument)) + (selected ? " cs_change" : "");
    }
    if (isKeyState(request)) {
        return "ioctl " + path + " EVIOCGKEY " + std::to_string(_IOC_SIZE(request));
    }
    switch (request) {
        case SPI_IOC_WR_MODE:
            return "ioctl " + path + " SPI_IOC_WR_MODE " + numberBehind<std::uint8_t>(argument);
        case SPI_IOC_WR_BITS_PER_WORD:
            return "ioctl " + path + " SPI_IOC_WR_BITS_PER_WORD " + numberBehind<std::uint8_t>(argument);
        case SPI_IOC_WR_MAX_SPEED_HZ:
            return "ioctl " + path + " SPI_IOC_WR_MAX_SPEED_HZ " + numberBehind<std::uint32_t>(argument);
        default:
            return "ioctl " + path + " " + std::to_string(request);
    }
}

int failWith(int error) {
    errno = error;
    return -1;
}

}  // namespace

void PrintTo(const LogLine& line, std::ostream* os) {
    *os << line.priority << ": " << line.text;
}

// FakeDevice

void FakeDevice::queueEvent(std::uint16_t type, std::uint16_t code, std::int32_t value, const timeval& time) {
    input_event event = {};
    event.input_event_sec = static_cast<decltype(event.input_event_sec)>(time.tv_sec);
    event.input_event_usec = static_cast<decltype(event.input_event_usec)>(time.tv_usec);
    event.type = type;
    event.code = code;
    event.value = value;
    if (m_reads.empty() || !m_reads.back().isEvents) {
        m_reads.push_back({{}, 0, true});
    }
    m_reads.back().bytes.append(reinterpret_cast<const char*>(&event), sizeof(event));
}

std::string FakeDevice::written() const {
    std::string all;
    for (const std::string& text : m_writes) {
        all += text;
    }
    return all;
}

unsigned int FakeDevice::count(Call call) const {
    const auto found = m_counts.find(call);
    return found != m_counts.end() ? found->second : 0;
}

int FakeDevice::nextError(Call call) {
    const unsigned int number = ++m_counts[call];
    const auto once = m_failures.find({call, number});
    return once != m_failures.end() ? once->second : m_lastingFailures[call];
}

ssize_t FakeDevice::readQueued(char* buffer, std::size_t size) {
    QueuedRead& next = m_reads.front();
    const int error = next.error;
    // Input devices hand out whole records only; streams break anywhere.
    const std::size_t room = next.isEvents ? size - size % sizeof(input_event) : size;
    const std::size_t length = std::min(room, next.bytes.size());
    std::memcpy(buffer, next.bytes.data(), length);
    next.bytes.erase(0, length);
    if (next.bytes.empty()) {
        m_reads.pop_front();
    }
    return error != 0 ? failWith(error) : static_cast<ssize_t>(length);
}

ssize_t FakeDevice::read(void* buffer, std::size_t size) {
    if (!m_reads.empty()) {
        return readQueued(static_cast<char*>(buffer), size);
    }
    if (!m_hasContent) {
        return m_idleError != 0 ? failWith(m_idleError) : 0;
    }
    const std::size_t start = std::min(m_position, m_content.size());
    const std::size_t length = std::min(size, m_content.size() - start);
    std::memcpy(buffer, m_content.data() + start, length);
    m_position = start + length;
    return static_cast<ssize_t>(length);
}

ssize_t FakeDevice::write(const void* data, std::size_t size) {
    const auto limit = m_shortWrites.find(m_counts[Call::write]);
    const std::size_t length = limit != m_shortWrites.end() ? std::min(limit->second, size) : size;
    m_writes.emplace_back(static_cast<const char*>(data), length);
    return static_cast<ssize_t>(length);
}

int FakeDevice::control(unsigned long request, void* argument) {
    if (isTransfer(request)) {
        return transfer(request, argument);
    }
    if (isKeyState(request)) {
        return keyState(request, argument);
    }
    return request == SPI_IOC_WR_MODE || request == SPI_IOC_WR_BITS_PER_WORD ||
                   request == SPI_IOC_WR_MAX_SPEED_HZ
               ? 0
               : failWith(ENOTTY);
}

// As the kernel's: the result is the number of bytes, and more than its buffer is refused.
int FakeDevice::transfer(unsigned long request, const void* argument) {
    constexpr std::size_t kKernelBufferBytes = 4096;
    const Bytes bytes = transferBytes(request, argument);
    if (bytes.size() > kKernelBufferBytes) {
        return failWith(EMSGSIZE);
    }
    m_transfers.push_back(bytes);
    return static_cast<int>(bytes.size());
}

int FakeDevice::keyState(unsigned long request, void* argument) const {
    const std::size_t size = std::min<std::size_t>(_IOC_SIZE(request), KEY_CNT / 8);
    auto* bits = static_cast<unsigned char*>(argument);
    std::memset(bits, 0, size);
    for (const int code : m_keysDown) {
        const auto bit = static_cast<unsigned int>(code);
        if (bit / 8 < size) {
            bits[bit / 8] = static_cast<unsigned char>(bits[bit / 8] | 1u << bit % 8);
        }
    }
    return static_cast<int>(size);
}

off_t FakeDevice::seek(off_t offset) {
    m_position = static_cast<std::size_t>(offset);
    return offset;
}

// FakeKernel

FakeKernel::FakeKernel() {
    if (theKernel != nullptr) {
        std::fputs("one FakeKernel at a time\n", stderr);
        std::abort();
    }
    theKernel = this;
}

FakeKernel::~FakeKernel() {
    theKernel = nullptr;
    for (const auto& [fd, device] : m_open) {
        if (fd != STDIN_FILENO) {
            __real_close(fd);
        }
    }
    for (const auto& [stream, command] : m_streams) {
        std::fclose(stream);
    }
}

FakeKernel* FakeKernel::current() {
    return theKernel;
}

FakeDevice& FakeKernel::device(const std::string& path) {
    auto& device = m_devices[path];
    if (device == nullptr) {
        device = std::make_unique<FakeDevice>(path);
    }
    return *device;
}

FakeDevice& FakeKernel::standardInput() {
    FakeDevice& input = device(kStandardInput);
    if (find(STDIN_FILENO) == nullptr) {
        input.setIdleError(0);
        m_open.emplace_back(STDIN_FILENO, &input);
    }
    return input;
}

void FakeKernel::advanceMs(long ms) {
    const long usec = m_now.tv_usec + ms % 1000 * 1000;
    m_now.tv_sec += ms / 1000 + usec / kUsPerSec;
    m_now.tv_usec = usec % kUsPerSec;
}

void FakeKernel::setCommand(const std::string& command, std::string output, int status) {
    m_commands[command] = {std::move(output), status, 0, 0};
}

void FakeKernel::failCommand(const std::string& command, int error) {
    m_commands[command].openError = error;
}

void FakeKernel::failCommandClose(const std::string& command, int error) {
    m_commands[command].closeError = error;
}

std::vector<std::string> FakeKernel::callsOf(std::string_view word) const {
    std::vector<std::string> found;
    for (const std::string& call : m_calls) {
        if (call.compare(0, word.size(), word) == 0 && call.size() > word.size() &&
            call[word.size()] == ' ') {
            found.push_back(call);
        }
    }
    return found;
}

std::vector<std::string> FakeKernel::openPaths() const {
    std::vector<std::string> paths;
    for (const auto& [fd, device] : m_open) {
        if (fd != STDIN_FILENO) {
            paths.push_back(device->path());
        }
    }
    return paths;
}

FakeDevice* FakeKernel::find(int fd) const {
    const auto found =
        std::find_if(m_open.begin(), m_open.end(), [fd](const auto& entry) { return entry.first == fd; });
    return found != m_open.end() ? found->second : nullptr;
}

int FakeKernel::record(std::string call, int error) {
    if (m_recordsCalls) {
        m_calls.push_back(error == 0 ? std::move(call) : call + " = " + strerrorname_np(error));
    }
    return error == 0 ? 0 : failWith(error);
}

bool FakeKernel::open(const char* path, int flags, int* result) {
    const auto found = m_devices.find(path);
    if (found == m_devices.end()) {
        return false;
    }
    FakeDevice& device = *found->second;
    *result = record(std::string("open ") + path + " " + flagNames(flags), device.nextError(Call::open));
    if (*result == 0) {
        // A real descriptor keeps the number unique and fit for select().
        *result = __real_open("/dev/null", O_RDWR | O_CLOEXEC);
        m_open.emplace_back(*result, &device);
        device.m_position = 0;
    }
    return true;
}

bool FakeKernel::close(int fd, int* result) {
    FakeDevice* device = find(fd);
    if (device == nullptr) {
        return false;
    }
    m_open.erase(
        std::find_if(m_open.begin(), m_open.end(), [fd](const auto& entry) { return entry.first == fd; }));
    if (fd != STDIN_FILENO) {
        __real_close(fd);
    }
    // As the kernel's, a failed close has closed the descriptor.
    *result = record("close " + device->path(), device->nextError(Call::close));
    return true;
}

bool FakeKernel::read(int fd, void* buffer, std::size_t size, ssize_t* result) {
    FakeDevice* device = find(fd);
    if (device == nullptr) {
        return false;
    }
    int error = device->nextError(Call::read);
    if (error == 0) {
        *result = device->read(buffer, size);
        error = *result < 0 ? errno : 0;
    }
    if (record(m_recordsCalls ? "read " + device->path() + " " + std::to_string(size) : "", error) != 0) {
        *result = -1;
    }
    return true;
}

bool FakeKernel::write(int fd, const void* data, std::size_t size, ssize_t* result) {
    FakeDevice* device = find(fd);
    if (device == nullptr) {
        return false;
    }
    const std::string text(static_cast<const char*>(data), size);
    *result = record("write " + device->path() + " " + text, device->nextError(Call::write));
    if (*result == 0) {
        *result = device->write(data, size);
    }
    return true;
}

bool FakeKernel::ioctl(int fd, unsigned long request, void* argument, int* result) {
    FakeDevice* device = find(fd);
    if (device == nullptr) {
        return false;
    }
    int error = device->nextError(Call::ioctl);
    if (error == 0) {
        *result = device->control(request, argument);
        error = *result < 0 ? errno : 0;
    }
    if (record(describeRequest(device->path(), request, argument), error) != 0) {
        *result = -1;
    }
    return true;
}

bool FakeKernel::lseek(int fd, off_t offset, int whence, off_t* result) {
    FakeDevice* device = find(fd);
    if (device == nullptr) {
        return false;
    }
    const int error = whence == SEEK_SET ? device->nextError(Call::lseek) : EINVAL;
    *result = record("lseek " + device->path() + " " + std::to_string(offset), error);
    if (*result == 0) {
        *result = device->seek(offset);
    }
    return true;
}

std::vector<int> FakeKernel::watchedDevices(int count, const fd_set* set) const {
    std::vector<int> watched;
    for (int fd = 0; fd < count; ++fd) {
        if (set != nullptr && FD_ISSET(fd, set) && find(fd) != nullptr) {
            watched.push_back(fd);
        }
    }
    return watched;
}

std::vector<int> FakeKernel::readyDevices(const std::vector<int>& watched, bool* scripted) {
    std::vector<int> ready;
    *scripted = !m_selects.empty();
    if (!*scripted) {
        std::copy_if(watched.begin(), watched.end(), std::back_inserter(ready),
                     [this](int fd) { return find(fd)->isReadable(); });
        return ready;
    }
    const std::vector<std::string> paths = m_selects.front().readyPaths;
    m_selects.pop_front();
    std::copy_if(watched.begin(), watched.end(), std::back_inserter(ready), [this, &paths](int fd) {
        return std::find(paths.begin(), paths.end(), find(fd)->path()) != paths.end();
    });
    return ready;
}

void FakeKernel::passTimeout(const timeval* timeout) {
    m_now.tv_sec += timeout->tv_sec;
    const long usec = m_now.tv_usec + timeout->tv_usec;
    m_now.tv_sec += usec / kUsPerSec;
    m_now.tv_usec = usec % kUsPerSec;
}

int FakeKernel::select(int count, fd_set* readSet, const timeval* timeout) {
    const std::vector<int> watched = watchedDevices(count, readSet);
    std::string call = "select";
    for (const int fd : watched) {
        call += " " + find(fd)->path();
    }
    call += timeout == nullptr
                ? " timeout=none"
                : " timeout=" + std::to_string(timeout->tv_sec * kUsPerSec + timeout->tv_usec) + "us";
    if (!m_selects.empty() && m_selects.front().error != 0) {
        const int error = m_selects.front().error;
        m_selects.pop_front();
        return record(std::move(call), error);
    }
    if (timeout != nullptr && (timeout->tv_usec < 0 || timeout->tv_usec >= kUsPerSec)) {
        return record(std::move(call), EINVAL);
    }
    record(call, 0);
    bool scripted = false;
    const std::vector<int> ready = readyDevices(watched, &scripted);
    if (!scripted && (m_selectLimit-- == 0 || (ready.empty() && timeout == nullptr))) {
        std::fprintf(stderr, "the loop would never end: %s\n", call.c_str());
        std::abort();
    }
    if (ready.empty() && timeout != nullptr) {
        passTimeout(timeout);
    }
    if (readSet != nullptr) {
        FD_ZERO(readSet);
    }
    for (const int fd : ready) {
        FD_SET(fd, readSet);
    }
    return static_cast<int>(ready.size());
}

int FakeKernel::sleepMicroseconds(useconds_t microseconds) {
    record("usleep " + std::to_string(microseconds), 0);
    const timeval span = {static_cast<time_t>(microseconds / kUsPerSec),
                          static_cast<suseconds_t>(microseconds % kUsPerSec)};
    passTimeout(&span);
    return 0;
}

int FakeKernel::gettimeofday(timeval* tv) {
    if (m_clockFails) {
        return failWith(EFAULT);
    }
    *tv = m_now;
    return 0;
}

std::FILE* FakeKernel::openCommand(const char* command) {
    const auto found = m_commands.find(command);
    // A command that the script does not have is one that the system does not have: the shell starts and
    // fails.
    const Command answer = found != m_commands.end() ? found->second : Command{{}, 127 << 8, 0, 0};
    if (record(std::string("popen ") + command, answer.openError) != 0) {
        return nullptr;
    }
    std::FILE* stream = std::tmpfile();
    std::fwrite(answer.output.data(), 1, answer.output.size(), stream);
    std::rewind(stream);
    m_streams[stream] = command;
    return stream;
}

bool FakeKernel::closeCommand(std::FILE* stream, int* result) {
    const auto found = m_streams.find(stream);
    if (found == m_streams.end()) {
        return false;
    }
    const std::string command = found->second;
    m_streams.erase(found);
    std::fclose(stream);
    const auto known = m_commands.find(command);
    const Command answer = known != m_commands.end() ? known->second : Command{{}, 127 << 8, 0, 0};
    *result = record("pclose " + command, answer.closeError) != 0 ? -1 : answer.status;
    return true;
}

void FakeKernel::openLog(const char* name, int option, int facility) {
    record(std::string("openlog ") + name + " " + std::to_string(option) + " " + std::to_string(facility), 0);
}

// The wrappers

// Without a script the line is dropped: tests must not write to the machine's own log.
static void addLogLine(int priority, const char* format, va_list arguments) {
    char text[4096];
    std::vsnprintf(text, sizeof(text), format, arguments);
    if (theKernel != nullptr) {
        theKernel->addLog(priority, text);
    }
}

extern "C" {

int __wrap_open(const char* path, int flags, ...);
int __wrap_close(int fd);
ssize_t __wrap_read(int fd, void* buffer, std::size_t size);
ssize_t __wrap_write(int fd, const void* data, std::size_t size);
int __wrap_ioctl(int fd, unsigned long request, ...);
off_t __wrap_lseek(int fd, off_t offset, int whence);
int __wrap_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout);
int __wrap_usleep(useconds_t microseconds);
int __wrap_gettimeofday(timeval* tv, void* zone);
std::FILE* __wrap_popen(const char* command, const char* mode);
int __wrap_pclose(std::FILE* stream);
void __wrap_openlog(const char* name, int option, int facility);
void __wrap_syslog(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));
int __wrap___open_2(const char* path, int flags);
ssize_t __wrap___read_chk(int fd, void* buffer, std::size_t size, std::size_t room);
void __wrap___syslog_chk(int priority, int level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

int __wrap_open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    int result = -1;
    return theKernel != nullptr && theKernel->open(path, flags, &result) ? result
                                                                         : __real_open(path, flags, mode);
}

int __wrap_close(int fd) {
    int result = -1;
    return theKernel != nullptr && theKernel->close(fd, &result) ? result : __real_close(fd);
}

ssize_t __wrap_read(int fd, void* buffer, std::size_t size) {
    ssize_t result = -1;
    return theKernel != nullptr && theKernel->read(fd, buffer, size, &result) ? result
                                                                              : __real_read(fd, buffer, size);
}

ssize_t __wrap_write(int fd, const void* data, std::size_t size) {
    ssize_t result = -1;
    return theKernel != nullptr && theKernel->write(fd, data, size, &result) ? result
                                                                             : __real_write(fd, data, size);
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    int result = -1;
    return theKernel != nullptr && theKernel->ioctl(fd, request, argument, &result)
               ? result
               : __real_ioctl(fd, request, argument);
}

off_t __wrap_lseek(int fd, off_t offset, int whence) {
    off_t result = -1;
    return theKernel != nullptr && theKernel->lseek(fd, offset, whence, &result)
               ? result
               : __real_lseek(fd, offset, whence);
}

int __wrap_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout) {
    return theKernel != nullptr ? theKernel->select(count, readSet, timeout)
                                : __real_select(count, readSet, writeSet, exceptSet, timeout);
}

int __wrap_usleep(useconds_t microseconds) {
    return theKernel != nullptr ? theKernel->sleepMicroseconds(microseconds) : __real_usleep(microseconds);
}

int __wrap_gettimeofday(timeval* tv, void* zone) {
    return theKernel != nullptr ? theKernel->gettimeofday(tv) : __real_gettimeofday(tv, zone);
}

std::FILE* __wrap_popen(const char* command, const char* mode) {
    return theKernel != nullptr ? theKernel->openCommand(command) : __real_popen(command, mode);
}

int __wrap_pclose(std::FILE* stream) {
    int result = -1;
    return theKernel != nullptr && theKernel->closeCommand(stream, &result) ? result : __real_pclose(stream);
}

void __wrap_openlog(const char* name, int option, int facility) {
    if (theKernel != nullptr) {
        theKernel->openLog(name, option, facility);
    } else {
        __real_openlog(name, option, facility);
    }
}

void __wrap_syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    addLogLine(priority, format, arguments);
    va_end(arguments);
}

// The forms that _FORTIFY_SOURCE makes of the calls: the same, but for the sizes that the compiler knows.

int __wrap___open_2(const char* path, int flags) {
    return __wrap_open(path, flags);
}

ssize_t __wrap___read_chk(int fd, void* buffer, std::size_t size, std::size_t room) {
    if (size > room) {
        std::abort();
    }
    return __wrap_read(fd, buffer, size);
}

void __wrap___syslog_chk(int priority, int /*level*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    addLogLine(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
