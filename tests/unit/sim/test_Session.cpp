// Sessions with views, in this process: what views see of a program, and do to it.
#include "sim/program/Session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Notes = std::vector<std::string>;

// Notes what it is told.
class NotedView final : public sim::View, private sim::PanelListener {
public:
    explicit NotedView(Notes& notes) : m_notes(notes) {}
    std::string start(const sim::ViewSeam& seam) override {
        m_seam.emplace(seam);
        seam.panel.listen(*this);
        return {};
    }
    void stop() override {
        m_notes.push_back("stop");
        last = m_seam->snapshots.latest(0);
    }
    [[nodiscard]] const sim::ViewSeam& seam() const { return *m_seam; }

    inline static sim::SnapshotBox::News last;  // what a reader finds at the end

private:
    void onStart(const std::string& command) override { m_notes.push_back("start " + command); }
    void onExit(int status) override { m_notes.push_back("exit " + std::to_string(status)); }
    void onLineIn(const std::string& text) override { m_notes.push_back("< " + text); }
    void onLineOut(const std::string& text) override { m_notes.push_back("> " + text); }

    Notes& m_notes;
    std::optional<sim::ViewSeam> m_seam;
};

class Session : public ::testing::Test {
protected:
    void make(std::vector<std::string> command, bool piped, bool echo = true) {
        sim::SessionOptions options;
        options.boot = sim::BootAnswer::parse("0", 0);
        options.command = std::move(command);
        options.shim = BELTPACK_SHIM_PATH;
        options.piped = piped;
        options.echo = echo;
        options.daemon = "shim_probe";
        session.emplace(std::move(options));
        auto made = std::make_unique<NotedView>(notes);
        view = made.get();
        session->add(std::move(made));
        ASSERT_EQ(session->prepare(), "");
        ASSERT_TRUE(session->start({}));
    }
    void serveUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            session->serve(10);
        }
    }
    void serveUntilNoted(const std::string& note) {
        serveUntil([&] { return std::find(notes.begin(), notes.end(), note) != notes.end(); });
    }
    void endAll() {
        session->finish();
        session.reset();
    }

    Notes notes;
    std::optional<sim::Session> session;
    NotedView* view = nullptr;
};

TEST_F(Session, ViewSendsLinesToAPipedDaemonAndSeesItsAnswers) {
    make({BELTPACK_PROBE_PATH, "echo"}, true, false);
    EXPECT_EQ(view->seam().controls.sendLine("hello"), "");
    serveUntilNoted("> hello");
    EXPECT_EQ(session->writeInput("par"), 3);
    EXPECT_EQ(view->seam().controls.sendLine("between"), "");  // waits for the line to end
    EXPECT_EQ(session->writeInput("t\n"), 2);
    serveUntilNoted("> between");
    session->closeInput();
    EXPECT_NE(view->seam().controls.sendLine("late"), "");
    serveUntil([this] { return !session->running(); });
    endAll();
    EXPECT_EQ(notes, (Notes{"start shim_probe echo", "< hello", "> hello", "< part", "< between", "> part",
                            "> between", "exit 0", "stop"}));
}

TEST_F(Session, ViewSendsLinesToTheDaemonOfAController) {
    make({"sh", "-c", "sleep 10 | \"$0\" echo >/dev/null", BELTPACK_PROBE_PATH}, false);
    EXPECT_NE(view->seam().controls.sendLine("too early"), "");
    serveUntil([this] { return view->seam().controls.sendLine("hello").empty(); });
    serveUntilNoted("> hello");
    session->kill();
    endAll();
    EXPECT_EQ(notes[1], "< hello");
    EXPECT_EQ(notes.back(), "stop");
}

TEST_F(Session, OtherThreadsSeeTheStateAndActThroughTheMailbox) {
    make({BELTPACK_PROBE_PATH, "keys"}, true, false);
    const sim::ViewSeam& seam = view->seam();
    std::string seen;
    std::thread reader([&] {
        bool pressed = false;
        std::uint64_t version = 0;
        std::uint64_t line = 0;
        while (auto news = seam.snapshots.waitNewer(version, line, std::chrono::seconds(10))) {
            version = news->version;
            for (const sim::ShownLine& shown : news->lines) {
                line = shown.number;
                seen += shown.text + '\n';
            }
            if (!pressed && seen.find("ready\n") != std::string::npos) {
                pressed = seam.mailbox.post([&] { EXPECT_EQ(seam.controls.press("Menu"), ""); });
            }
            if (seen.find("event 1 102 1\n") != std::string::npos && news->state.keysHeld[2]) {
                seam.mailbox.post([this] { session->closeInput(); });
                return;
            }
        }
    });
    serveUntil([this] { return !session->running(); });
    reader.join();
    EXPECT_EQ(seen, "ready\nevents 2\nevent 1 102 1\n");
    endAll();
    EXPECT_FALSE(NotedView::last.state.running);
    EXPECT_EQ(NotedView::last.state.exitStatus, 0);
    EXPECT_EQ(NotedView::last.state.linesOut, 3U);
}

TEST_F(Session, EndOfTheProgramIsToldBehindItsLastLines) {
    make({BELTPACK_PROBE_PATH, "crash"}, true, false);
    serveUntil([this] { return !session->running(); });
    endAll();
    EXPECT_EQ(notes, (Notes{"start shim_probe crash", "> last", "> and", "exit 139", "stop"}));
}

}  // namespace
