// From the bytes that a terminal sends to what happens on the panel.
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <string>
#include <vector>

#include "sim/term/KeyDecoder.h"
#include "sim/term/KeyTable.h"
#include "sim/term/LinePrompt.h"
#include "sim/term/PanelHands.h"

namespace {

using Keys = std::vector<sim::Key>;

// ---- Bytes to keys ----

TEST(KeyDecoder, BytesAreKeys) {
    sim::KeyDecoder decoder;
    EXPECT_EQ(decoder.take("aZ\xC3"), (Keys{'a', 'Z', 0xC3}));
    EXPECT_FALSE(decoder.waits());
}

TEST(KeyDecoder, LineFeedIsEnterAndControlHIsBackspace) {
    sim::KeyDecoder decoder;
    EXPECT_EQ(decoder.take("\r\n\b\x7F"), (Keys{sim::kEnter, sim::kEnter, sim::kBackspace, sim::kBackspace}));
}

TEST(KeyDecoder, ArrowsInBothModes) {
    sim::KeyDecoder decoder;
    EXPECT_EQ(decoder.take("\033[A\033OB\033[C\033OD"),
              (Keys{sim::kUp, sim::kDown, sim::kRight, sim::kLeft}));
    EXPECT_EQ(decoder.take("\033[5~\033[6~"), (Keys{sim::kPageUp, sim::kPageDown}));
}

TEST(KeyDecoder, SequencesMayComeInPieces) {
    sim::KeyDecoder decoder;
    EXPECT_EQ(decoder.take("x\033"), Keys{'x'});
    EXPECT_TRUE(decoder.waits());
    EXPECT_EQ(decoder.take("["), Keys{});
    EXPECT_EQ(decoder.take("Ay"), (Keys{sim::kUp, 'y'}));
    EXPECT_FALSE(decoder.waits());
}

TEST(KeyDecoder, LoneEscapeIsAKeyWhenNothingFollows) {
    sim::KeyDecoder decoder;
    EXPECT_EQ(decoder.take("\033"), Keys{});
    EXPECT_EQ(decoder.giveUp(), Keys{sim::kEscape});
    EXPECT_EQ(decoder.giveUp(), Keys{});
    EXPECT_EQ(decoder.take("\033\033[A"), (Keys{sim::kEscape, sim::kUp}));
}

TEST(KeyDecoder, BrokenOffSequenceIsSwallowed) {
    sim::KeyDecoder decoder;
    EXPECT_EQ(decoder.take("\033[1;"), Keys{});
    EXPECT_EQ(decoder.giveUp(), Keys{});
    EXPECT_EQ(decoder.take("a"), Keys{'a'});
}

TEST(KeyDecoder, LettersOfUnknownSequencesPressNothing) {
    sim::KeyDecoder decoder;
    for (const char* sequence : {"\033[1;5D", "\033[3~", "\033OM", "\033[[A", "\033a", "\033[<0;3;4M"}) {
        EXPECT_EQ(decoder.take(sequence), Keys{}) << sequence + 1;
        EXPECT_FALSE(decoder.waits()) << sequence + 1;
    }
}

TEST(KeyDecoder, SequencesOfTheTerminalComeFirst) {
    sim::KeyDecoder decoder({{"\033a", sim::kUp}, {"\033[[A", sim::kPageUp}});
    EXPECT_EQ(decoder.take("\033a\033[[A\033[B"), (Keys{sim::kUp, sim::kPageUp, sim::kDown}));
}

// ---- Keys to actions ----

TEST(KeyTable, EachKeyStandsOnce) {
    for (const sim::Binding& binding : sim::kBindings) {
        EXPECT_EQ(sim::bindingOf(binding.key), &binding) << binding.key;
    }
    EXPECT_EQ(sim::bindingOf('Q'), nullptr);
}

TEST(KeyTable, TargetsAreThePanels) {
    for (const sim::Binding& binding : sim::kBindings) {
        if (binding.action == sim::Action::Turn) {
            EXPECT_TRUE(sim::InputModel::encoder(binding.target).has_value()) << binding.target;
        } else if (!binding.target.empty()) {
            EXPECT_TRUE(sim::InputModel::keyCode(binding.target).has_value()) << binding.target;
        }
    }
}

TEST(KeyTable, EveryKeyAndKnobCanBeReached) {
    for (const std::string_view key : sim::InputModel::kKeyNames) {
        EXPECT_NE(sim::keyFor(key), 0) << key;
    }
    for (const std::string_view encoder : sim::InputModel::kEncoderNames) {
        for (const int detents : {-1, 1, -sim::kFastDetents, sim::kFastDetents}) {
            EXPECT_NE(sim::keyFor(encoder, detents), 0) << encoder << detents;
        }
    }
}

// ---- The prompt ----

class Prompt : public ::testing::Test {
protected:
    Prompt() { prompt.open(); }
    // The lines that these keys gave.
    std::vector<std::string> type(const std::string& bytes) {
        std::vector<std::string> given;
        for (const char byte : bytes) {
            if (const auto line = prompt.take(static_cast<unsigned char>(byte))) {
                given.push_back(*line);
            }
        }
        return given;
    }
    sim::LinePrompt prompt;
};

using Lines = std::vector<std::string>;

TEST_F(Prompt, EnterGivesTheLineAndStaysOpen) {
    EXPECT_EQ(type("g:flush 0\rg:info"), Lines{"g:flush 0"});
    EXPECT_TRUE(prompt.isOpen());
    EXPECT_EQ(prompt.text(), "g:info");
}

TEST_F(Prompt, EscapeAndEmptyLineClose) {
    EXPECT_EQ(type("half\033"), Lines{});
    EXPECT_FALSE(prompt.isOpen());
    prompt.open();
    EXPECT_EQ(prompt.text(), "");
    EXPECT_EQ(type("\r"), Lines{});
    EXPECT_FALSE(prompt.isOpen());
}

TEST_F(Prompt, BackspaceTakesAWholeCharacter) {
    type("a\xC3\xBC\xE2\x82\xAC");
    type("\x7F");
    EXPECT_EQ(prompt.text(), "a\xC3\xBC");
    type("\x7F");
    EXPECT_EQ(prompt.text(), "a");
    type("\x7F\x7F\x7F");
    EXPECT_EQ(prompt.text(), "");
    type("all\x15");
    EXPECT_EQ(prompt.text(), "");
}

TEST_F(Prompt, UpAndDownBringBackWhatWasGiven) {
    type("one\rtwo\r");
    const auto afterKey = [this](sim::Key key) {
        EXPECT_EQ(prompt.take(key), std::nullopt);
        return prompt.text();
    };
    EXPECT_EQ(afterKey(sim::kUp), "two");
    EXPECT_EQ(afterKey(sim::kUp), "one");
    EXPECT_EQ(afterKey(sim::kUp), "one");
    EXPECT_EQ(afterKey(sim::kDown), "two");
    EXPECT_EQ(afterKey(sim::kDown), "");
    EXPECT_EQ(afterKey(sim::kDown), "");
    EXPECT_EQ(afterKey(sim::kUp), "two");
    EXPECT_EQ(type("!\r"), Lines{"two!"});
}

TEST_F(Prompt, UpWithoutHistoryDoesNothing) {
    type("text");
    EXPECT_EQ(prompt.take(sim::kUp), std::nullopt);
    EXPECT_EQ(prompt.text(), "text");
}

TEST_F(Prompt, OtherKeysWriteNothing) {
    for (const sim::Key key : {sim::kTab, sim::kLeft, sim::kPageUp, sim::controlKey('L'), 0}) {
        EXPECT_EQ(prompt.take(key), std::nullopt);
    }
    EXPECT_EQ(prompt.text(), "");
    EXPECT_TRUE(prompt.isOpen());
}

TEST_F(Prompt, LineStaysWithinWhatMayBeSent) {
    type(std::string(sim::Controls::kMaxLineBytes + 10, 'x'));
    EXPECT_EQ(prompt.text().size(), sim::Controls::kMaxLineBytes);
}

// ---- Hands ----

class Hands : public ::testing::Test, private sim::PanelListener {
protected:
    Hands() {
        EXPECT_TRUE(log.writeTo("/dev/null"));
        panel.listen(*this);
    }
    void type(sim::Key key) {
        ASSERT_NE(sim::bindingOf(key), nullptr);
        EXPECT_EQ(hands.perform(*sim::bindingOf(key)), "");
    }
    [[nodiscard]] bool held(std::string_view key) const {
        return panel.inputs.held(*sim::InputModel::keyCode(key));
    }

    sim::EventLoop loop;
    sim::EventLog log;
    sim::Panel panel{0};
    sim::DeviceServer devices{loop, panel, log};
    sim::Controls controls{panel, devices, [](const std::string&) { return std::string(); }};
    sim::PanelHands hands{loop, controls, panel.inputs};
    std::vector<int> values;  // of keys and encoders, in their order

private:
    void onInput(sim::InputDevice, const std::vector<sim::InputEvent>& events) override {
        for (const sim::InputEvent& event : events) {
            if (event.type != EV_SYN) {
                values.push_back(event.value);
            }
        }
    }
};

TEST_F(Hands, TapPressesAndAfterAMomentReleases) {
    type('a');
    EXPECT_TRUE(held("Talk_1"));
    EXPECT_EQ(values, std::vector<int>{1});
    EXPECT_TRUE(loop.runOnce(10'000));
    EXPECT_FALSE(held("Talk_1"));
    EXPECT_EQ(values, (std::vector<int>{1, 0}));
}

TEST_F(Hands, EachOfSeveralTapsIsAPress) {
    type('m');
    type('m');
    EXPECT_EQ(values, (std::vector<int>{1, 0, 1}));
    EXPECT_TRUE(loop.runOnce(10'000));
    EXPECT_EQ(values, (std::vector<int>{1, 0, 1, 0}));
    EXPECT_FALSE(loop.runOnce(0));
}

TEST_F(Hands, HoldStaysUntilItIsTypedAgain) {
    type('F');
    EXPECT_TRUE(held("Call_2"));
    EXPECT_FALSE(loop.runOnce(0));
    type('F');
    EXPECT_FALSE(held("Call_2"));
    EXPECT_EQ(values, (std::vector<int>{1, 0}));
}

TEST_F(Hands, TapLetsGoOfAHeldKey) {
    type('D');
    type('d');
    EXPECT_FALSE(held("Call_1"));
    EXPECT_EQ(values, (std::vector<int>{1, 0}));
}

TEST_F(Hands, HoldKeepsATappedKeyDown) {
    type('s');
    type('S');
    EXPECT_TRUE(held("Talk_2"));
    EXPECT_FALSE(loop.runOnce(2 * static_cast<int>(sim::PanelHands::kTapTime.count())));
    EXPECT_TRUE(held("Talk_2"));
    EXPECT_EQ(values, std::vector<int>{1});
}

TEST_F(Hands, HeadphoneSwitchStays) {
    type('h');
    EXPECT_TRUE(held("Hp_Detect"));
    type('h');
    EXPECT_FALSE(held("Hp_Detect"));
}

TEST_F(Hands, KnobsTurnByOneAndByFive) {
    type('z');
    type(sim::kRight);
    type('N');
    EXPECT_EQ(values, (std::vector<int>{-1, 1, 1, 1, 1, 1, 1}));
}

}  // namespace
