#include "sim/program/VirtualClock.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>
#include <vector>

namespace {

constexpr std::int64_t kNever = -1;

// Speaks to the clock as processes do, but for the socket between.
class VirtualClock : public ::testing::Test {
protected:
    struct Process {
        std::uint64_t name;
        sim::Reply joined;  // fd: where it is woken; outputFd: the page's file
    };

    VirtualClock() { ::signal(SIGPIPE, SIG_IGN); }

    sim::Reply call(std::uint32_t operation, std::uint64_t name, std::int64_t offset = 0,
                    std::uint64_t stirs = 0, bool first = true) {
        sim::Request request;
        request.head.operation = operation;
        request.head.device = name;
        request.head.inode = stirs;
        request.head.offset = offset;
        request.head.argument = first ? 1 : 0;
        return clock.answer(request);
    }
    Process join(pid_t pid) {
        sim::Reply reply = call(BELTPACK_CLOCK, 0, pid);
        const auto name = static_cast<std::uint64_t>(reply.result.value);
        return {name, std::move(reply)};
    }
    int wait(const Process& process, std::int64_t deadline, std::uint64_t stirs = 0, bool first = true) {
        return call(BELTPACK_WAIT, process.name, deadline, stirs, first).result.error;
    }
    // All have looked, and then looked again.
    void sleepAll(const std::vector<std::pair<const Process*, std::int64_t>>& sleepers) {
        for (const bool first : {true, false}) {
            for (const auto& [process, deadline] : sleepers) {
                woken(*process);
                wait(*process, deadline, pageOf(*process).stirs, first);
            }
        }
    }
    static bool woken(const Process& process) {
        char byte = 1;
        return ::read(process.joined.fd.get(), &byte, 1) == 1;
    }
    static beltpack_clock pageOf(const Process& process) {
        beltpack_clock page{};
        EXPECT_EQ(::pread(process.joined.outputFd.get(), &page, sizeof page, 0), 16);
        return page;
    }

    sim::EventLoop loop;
    std::vector<int> waitErrors;  // of the waits to come, the next one last
    sim::VirtualClock clock{loop, [this] {
                                if (waitErrors.empty()) {
                                    return 0;
                                }
                                const int error = waitErrors.back();
                                waitErrors.pop_back();
                                return error;
                            }};
};

TEST_F(VirtualClock, StandsAtItsStartUntilItIsMoved) {
    ASSERT_TRUE(clock.valid());
    EXPECT_EQ(clock.elapsed(), 0);
    EXPECT_EQ(clock.timeOfDay(), 1577836800'000'000);
    const Process process = join(10);
    EXPECT_EQ(wait(process, 500), 0);
    EXPECT_EQ(clock.elapsed(), 0);
    EXPECT_EQ(pageOf(process).now, 0U);
}

TEST_F(VirtualClock, MovesToTheFirstDeadlineAndWakesThatProcessAlone) {
    const Process early = join(10);
    const Process late = join(11);
    const Process patient = join(12);
    sleepAll({{&early, 500}, {&late, 700}, {&patient, kNever}});
    clock.moveOn(2000);
    EXPECT_EQ(clock.elapsed(), 500);
    EXPECT_EQ(clock.timeOfDay(), 1577836800'000'500);
    EXPECT_EQ(pageOf(early).now, 500U);
    EXPECT_TRUE(woken(early));
    EXPECT_FALSE(woken(late));
    EXPECT_FALSE(woken(patient));
    EXPECT_FALSE(clock.asleep(10));
}

TEST_F(VirtualClock, WakesAllThatAreDueAtOnce) {
    const Process one = join(10);
    const Process two = join(11);
    sleepAll({{&one, 500}, {&two, 500}});
    clock.moveOn(500);
    EXPECT_TRUE(woken(one));
    EXPECT_TRUE(woken(two));
}

TEST_F(VirtualClock, LimitComesBeforeALaterDeadline) {
    const Process process = join(10);
    wait(process, 500);
    clock.moveOn(499);
    EXPECT_EQ(clock.elapsed(), 499);
    EXPECT_FALSE(woken(process));
    EXPECT_TRUE(clock.asleep(10));
}

TEST_F(VirtualClock, MovesWithoutAnyProcess) {
    clock.moveOn(1'000'000);
    EXPECT_EQ(clock.elapsed(), 1'000'000);
    EXPECT_EQ(pageOf(join(10)).now, 1'000'000U);
}

TEST_F(VirtualClock, DeadlineOfAWaitThatIsOverDoesNotCount) {
    const Process process = join(10);
    wait(process, 500);
    call(BELTPACK_LEAVE, process.name);
    clock.moveOn(600);  // what the program has left behind may work on when it has ended
    EXPECT_EQ(clock.elapsed(), 600);
    clock.moveOn(700);
    EXPECT_EQ(clock.elapsed(), 700);
    EXPECT_FALSE(woken(process));
}

TEST_F(VirtualClock, StirMakesSleepersLookAgain) {
    const Process process = join(10);
    wait(process, kNever);
    clock.stir();
    EXPECT_TRUE(woken(process));
    EXPECT_FALSE(clock.asleep(10));
    EXPECT_EQ(pageOf(process).stirs, 1U);
    wait(process, kNever, 1);
    EXPECT_FALSE(woken(process));
    EXPECT_TRUE(clock.asleep(10));
}

TEST_F(VirtualClock, ProcessThatLookedBeforeTheLastStirLooksAgain) {
    const Process process = join(10);
    clock.stir();
    wait(process, kNever, 0);
    EXPECT_TRUE(woken(process));
    EXPECT_FALSE(clock.asleep(10));
}

TEST_F(VirtualClock, AsleepWhenTheProgramAndAllOthersAre) {
    EXPECT_FALSE(clock.asleep(10));  // its time is not this one
    const Process program = join(10);
    const Process other = join(11);
    EXPECT_FALSE(clock.asleep(10));
    wait(program, kNever);
    EXPECT_FALSE(clock.asleep(10));
    wait(other, kNever, 1);
    wait(program, kNever, 2, false);
    EXPECT_TRUE(clock.asleep(10));
    EXPECT_FALSE(clock.asleep(9));
    EXPECT_EQ(call(BELTPACK_LEAVE, other.name).result.error, 0);
    EXPECT_FALSE(clock.asleep(10));
}

TEST_F(VirtualClock, ProcessThatHasWorkedStirsTheOthersWhenItWaits) {
    const Process one = join(10);
    wait(one, kNever);
    const Process two = join(11);
    wait(two, kNever);
    EXPECT_TRUE(woken(one));  // what the second did before may have meant it
    EXPECT_FALSE(woken(two));
    EXPECT_FALSE(clock.asleep(10));
    wait(one, kNever, 1, false);  // it has looked again, no more
    EXPECT_FALSE(woken(two));
    EXPECT_TRUE(clock.asleep(10));
}

TEST_F(VirtualClock, ProcessThatIsGoneHoldsNothingUp) {
    const Process program = join(10);
    {
        const Process other = join(11);
        wait(program, kNever);
        EXPECT_FALSE(clock.asleep(10));
    }
    EXPECT_TRUE(loop.runOnce(0));
    EXPECT_TRUE(woken(program));  // for what the other did last
    wait(program, kNever, 2, false);
    EXPECT_TRUE(clock.asleep(10));
    clock.forget(10);
    EXPECT_FALSE(clock.asleep(10));
    EXPECT_EQ(wait(program, kNever), ESRCH);
}

TEST_F(VirtualClock, FaultFailsTheFirstLookOfACall) {
    const Process process = join(10);
    waitErrors = {EINTR};
    EXPECT_EQ(wait(process, 500, 0, false), 0);
    EXPECT_EQ(wait(process, 500), EINTR);
    EXPECT_EQ(wait(process, 500), 0);
    EXPECT_TRUE(clock.asleep(10));
}

}  // namespace
