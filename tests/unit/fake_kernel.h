// A scripted kernel beneath the code under test: the linker sends the C library's calls here, and whatever
// the script does not know goes on to the real function.
//
// A test program links fake_kernel.cpp and wraps these functions:
//
//   set(FAKE_KERNEL_CALLS open close read write ioctl lseek select usleep gettimeofday popen pclose openlog
//   syslog) list(TRANSFORM FAKE_KERNEL_CALLS PREPEND "-Wl,--wrap=" OUTPUT_VARIABLE FAKE_KERNEL_OPTIONS)
//   target_sources(<test> PRIVATE fake_kernel.cpp)
//   target_link_options(<test> PRIVATE ${FAKE_KERNEL_OPTIONS})
//
// Only calls from objects and static libraries of the program are wrapped: link the code under test
// statically, without _FORTIFY_SOURCE, _FILE_OFFSET_BITS and link-time optimisation.
//
// A test makes one FakeKernel on its stack; while it lives, its devices, clock and log replace the real ones:
//
//   FakeKernel kernel;
//   FakeDevice& leds = kernel.device("/sys/class/leds/pca963x:grn:c2/brightness");
//   ... run ...
//   EXPECT_EQ(leds.writes(), std::vector<std::string>({"82"}));
//   EXPECT_TRUE(kernel.openPaths().empty());  // nothing leaks
#pragma once

#include <sys/select.h>
#include <sys/time.h>
#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<unsigned char>;

// The calls on a device that can be made to fail.
enum class Call { open, close, read, write, ioctl, lseek };

// A device, file or stream behind one path. It takes every write whole, answers SPI and key-state requests,
// and reads as EAGAIN until something is queued or a content is given.
class FakeDevice {
public:
    explicit FakeDevice(std::string path) : m_path(std::move(path)) {}

    // The nth call of this kind from now on (1 is the next) fails with the error number.
    void failNth(Call call, unsigned int nth, int error) { m_failures[{call, m_counts[call] + nth}] = error; }
    void failNext(Call call, int error) { failNth(call, 1, error); }
    // Every call of this kind fails with the error number; 0 mends it.
    void failAlways(Call call, int error) { m_lastingFailures[call] = error; }
    // The nth write from now on takes at most `bytes` bytes and reports so.
    void shortenNthWrite(unsigned int nth, std::size_t bytes) {
        m_shortWrites[m_counts[Call::write] + nth] = bytes;
    }

    // The next unserved read returns these bytes; a queued read that is larger than the reader's buffer is
    // continued by the next read. Without a queued read: the content, else `idle`.
    void queueRead(std::string_view bytes) { m_reads.push_back({std::string(bytes), 0}); }
    // The next unserved read fails with the error number.
    void queueReadError(int error) { m_reads.push_back({{}, error}); }
    // The next unserved read returns 0 bytes.
    void queueEndOfFile() { m_reads.push_back({}); }
    // Queues a record of an input device; records queued between two reads of the device come with one read.
    void queueEvent(std::uint16_t type, std::uint16_t code, std::int32_t value, const timeval& time);
    // What an idle read does: EAGAIN (the start value), another error number, or 0 for end of file.
    void setIdleError(int error) { m_idleError = error; }
    // Gives the file a content that is read from the file position; lseek() sets it.
    void setContent(std::string_view content) {
        m_content = content;
        m_hasContent = true;
    }
    // The keys that EVIOCGKEY reports as held.
    void setKeysDown(std::vector<int> codes) { m_keysDown = std::move(codes); }

    [[nodiscard]] const std::string& path() const { return m_path; }
    // The bytes taken by each write, in order.
    [[nodiscard]] const std::vector<std::string>& writes() const { return m_writes; }
    // All bytes taken.
    [[nodiscard]] std::string written() const;
    // The bytes of each SPI transfer that succeeded, in order.
    [[nodiscard]] const std::vector<Bytes>& transfers() const { return m_transfers; }
    void clearOutput() {
        m_writes.clear();
        m_transfers.clear();
    }
    // How often the call was made, failed ones included.
    [[nodiscard]] unsigned int count(Call call) const;
    // True while a read would not answer with EAGAIN.
    [[nodiscard]] bool isReadable() const { return !m_reads.empty() || m_hasContent || m_idleError == 0; }

private:
    friend class FakeKernel;
    struct QueuedRead {
        std::string bytes;
        int error = 0;
        bool isEvents = false;
    };

    // Counts the call and returns the error number that the script has for it, or 0.
    int nextError(Call call);
    ssize_t read(void* buffer, std::size_t size);
    ssize_t readQueued(char* buffer, std::size_t size);
    ssize_t write(const void* data, std::size_t size);
    int control(unsigned long request, void* argument);
    int transfer(unsigned long request, const void* argument);
    int keyState(unsigned long request, void* argument) const;
    off_t seek(off_t offset);

    std::string m_path;
    std::map<Call, unsigned int> m_counts;
    std::map<std::pair<Call, unsigned int>, int> m_failures;
    std::map<Call, int> m_lastingFailures;
    std::map<unsigned int, std::size_t> m_shortWrites;
    std::deque<QueuedRead> m_reads;
    int m_idleError = 11;  // EAGAIN
    std::string m_content;
    bool m_hasContent = false;
    std::size_t m_position = 0;
    std::vector<int> m_keysDown;
    std::vector<std::string> m_writes;
    std::vector<Bytes> m_transfers;
};

// One message of the system log.
struct LogLine {
    int priority;
    std::string text;

    friend bool operator==(const LogLine& a, const LogLine& b) {
        return a.priority == b.priority && a.text == b.text;
    }
    friend void PrintTo(const LogLine& line, std::ostream* os);
};

class FakeKernel {
public:
    // Takes the place of the kernel until destroyed; one at a time.
    FakeKernel();
    // Closes what the code under test left open.
    ~FakeKernel();
    FakeKernel(const FakeKernel&) = delete;
    FakeKernel& operator=(const FakeKernel&) = delete;

    // The device behind a path, made on first use. Opening a path without a device reaches the real file.
    FakeDevice& device(const std::string& path);
    // The device behind descriptor 0, whose path is "stdin"; idle, it is at its end. Made on first use.
    FakeDevice& standardInput();

    // The clock of gettimeofday(); starts at 1000 s and moves only here, with usleep() and with select()
    // time-outs.
    void setTime(time_t sec, suseconds_t usec) { m_now = {sec, usec}; }
    void advanceMs(long ms);
    void failClock(bool fail) { m_clockFails = fail; }

    // What the next select() answers: the watched ones of these paths are ready (none: time-out). Unscripted
    // calls report every watched device that is readable; if none is, the time-out passes. A call that would
    // wait for ever ends the program. A time-out of a million microseconds or more, which has to be told in
    // seconds, is EINVAL.
    void queueSelect(std::vector<std::string> readyPaths) { m_selects.push_back({std::move(readyPaths), 0}); }
    void queueSelectError(int error) { m_selects.push_back({{}, error}); }
    // Further unscripted calls of select() that are allowed before the program is ended; guards against
    // loops.
    void limitSelects(unsigned int limit) { m_selectLimit = limit; }

    // What the command, run by popen(), writes, and the status that pclose() returns (an exit status of 1 is
    // 256).
    void setCommand(const std::string& command, std::string output, int status);
    // popen() of this command fails.
    void failCommand(const std::string& command, int error);
    // pclose() of this command fails.
    void failCommandClose(const std::string& command, int error);

    // Every call that was served here, in order: "open PATH O_RDWR|O_NONBLOCK", "close PATH", "read PATH
    // 1024", "write PATH TEXT", "ioctl PATH SPI_IOC_WR_MODE 0", "transfer PATH b0 00 12", "ioctl PATH
    // EVIOCGKEY 96", "lseek PATH 0", "select PATH PATH timeout=none", "select timeout=25000us", "usleep
    // 25000", "popen COMMAND", "pclose COMMAND", "openlog NAME 2 0". A failed call has " = ERRORNAME" added.
    [[nodiscard]] const std::vector<std::string>& calls() const { return m_calls; }
    // Those of them that begin with the word.
    [[nodiscard]] std::vector<std::string> callsOf(std::string_view word) const;
    void clearCalls() { m_calls.clear(); }
    // Whether calls are recorded: a fuzz target makes millions that nobody asks for.
    void recordCalls(bool records) { m_recordsCalls = records; }

    [[nodiscard]] const std::vector<LogLine>& log() const { return m_log; }
    void clearLog() { m_log.clear(); }

    // The paths of the descriptors that are still open, in the order of their opening: the leak check.
    [[nodiscard]] std::vector<std::string> openPaths() const;

    // The served calls; used by the wrappers. They return false or null when the real function is to be
    // called.
    [[nodiscard]] static FakeKernel* current();
    bool open(const char* path, int flags, int* result);
    bool close(int fd, int* result);
    bool read(int fd, void* buffer, std::size_t size, ssize_t* result);
    bool write(int fd, const void* data, std::size_t size, ssize_t* result);
    bool ioctl(int fd, unsigned long request, void* argument, int* result);
    bool lseek(int fd, off_t offset, int whence, off_t* result);
    int select(int count, fd_set* readSet, const timeval* timeout);
    int sleepMicroseconds(useconds_t microseconds);
    int gettimeofday(timeval* tv);
    std::FILE* openCommand(const char* command);
    bool closeCommand(std::FILE* stream, int* result);
    void openLog(const char* name, int option, int facility);
    void addLog(int priority, std::string text) { m_log.push_back({priority, std::move(text)}); }

private:
    struct Select {
        std::vector<std::string> readyPaths;
        int error;
    };
    struct Command {
        std::string output;
        int status = 0;
        int openError = 0;
        int closeError = 0;
    };

    FakeDevice* find(int fd) const;
    // Records the call with its outcome: an error number is named, stored in errno and answered with -1.
    int record(std::string call, int error);
    std::vector<int> watchedDevices(int count, const fd_set* set) const;
    std::vector<int> readyDevices(const std::vector<int>& watched, bool* scripted);
    void passTimeout(const timeval* timeout);

    std::map<std::string, std::unique_ptr<FakeDevice>> m_devices;
    std::vector<std::pair<int, FakeDevice*>> m_open;  // descriptor and device, in the order of opening
    std::vector<std::string> m_calls;
    bool m_recordsCalls = true;
    std::vector<LogLine> m_log;
    timeval m_now = {1000, 0};
    bool m_clockFails = false;
    std::deque<Select> m_selects;
    unsigned int m_selectLimit = 100000;
    std::map<std::string, Command> m_commands;
    std::map<std::FILE*, std::string> m_streams;
};
