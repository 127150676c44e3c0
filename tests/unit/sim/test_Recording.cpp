// The format of recordings: what is written is read, and what is no recording is refused with its line.
#include "sim/record/Recording.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "sim/record/PictureText.h"
#include "sim/record/RecordingReader.h"
#include "tests/unit/sim/TemporaryFolder.h"

namespace {

using namespace sim::recorded;

sim::Picture somePicture() {
    sim::Picture picture;
    picture.set(0, 0, true);
    picture.set(95, 63, true);
    return picture;
}

Heading someHeading() {
    Heading heading;
    heading.simulator = "1.2.3";
    heading.daemon = "beltpack_fpui";
    heading.whole = true;
    heading.state.variant = 1;
    heading.state.plugged.fill(true);
    heading.state.outputs = {0, 0, 1, 1};
    heading.state.leds[3] = 255;
    return heading;
}

// One of each kind, in an order that a reader takes.
std::vector<Record> allKinds() {
    const sim::BootAnswer boot = {sim::BootAnswer::Kind::Missing, "", 0};
    const sim::BootAnswer answer = {sim::BootAnswer::Kind::Value, "it's 1", 3};
    return {
        {someHeading(), 0},
        {Start{"beltpack_fpui -s 5", std::vector<std::string>{"-s", "5 \xE4"}, answer}, 0.5},
        {LineIn{"g:text 0 0 0 'caf\xE9\x01\"' white"}, 1},
        {Key{103, 1, false}, 2.25},
        {Key{103, 2, true}, 2.25},
        {Turn{sim::InputDevice::Rear, -3, 2, true}, 3},
        {Plug{"/dev/input/event4", false}, 4},
        {FaultOrder{"write /sys/class/leds/pca963x:grn:c2/brightness short 1 nth 2 times always"}, 5},
        {LineOut{"OnFpKey(1,1,250)"}, 6},
        {Frame{1, somePicture()}, 7},
        {Frame{2, std::nullopt}, 8},
        {Display{true}, 9},
        {Contrast{255}, 10},
        {Led{7, 82}, 11},
        {Output{255, 1}, 12},
        {Gain{31}, 13},
        {ProtocolError{"unknown command: FF"}, 14},
        {InputEnd{}, 15},
        {Exit{139}, 1234567890.125},
        {Start{"sh", std::nullopt, boot}, 1234567890.125},
        {End{true}, 1234567891},
    };
}

std::string textOf(const std::vector<Record>& records) {
    std::string text;
    for (const Record& record : records) {
        text += encode(record);
    }
    return text;
}

class RecordingFile : public ::testing::Test {
protected:
    // What the reader says of these bytes; without the folder that they lie in.
    std::string check(const std::string& bytes) {
        folder.write("r", bytes);
        summary = {};
        const std::string error = sim::checkRecording(folder.file("r"), summary);
        const auto at = error.find(folder.path());
        return at == std::string::npos ? error : error.substr(at + folder.path().size() + 1);
    }
    const TemporaryFolder folder;
    sim::RecordingSummary summary;
};

// ---- Pictures ----

TEST(PictureText, IsRowsOfBytesInBase64) {
    const std::string text = sim::pictureText(somePicture());
    EXPECT_EQ(text, "gA" + std::string(1021, 'A') + "B");
    sim::Picture second;
    for (std::size_t x = 0; x < sim::Picture::kWidth; ++x) {
        second.set(x, 1, true);
    }
    EXPECT_EQ(sim::pictureText(second).substr(0, 34), std::string(16, 'A') + std::string(16, '/') + "AA");
}

TEST(PictureText, ComesBackAndNothingElseDoes) {
    const std::string text = sim::pictureText(somePicture());
    EXPECT_EQ(sim::pictureFromText(text), somePicture());
    EXPECT_FALSE(sim::pictureFromText(text + "A"));
    EXPECT_FALSE(sim::pictureFromText(text.substr(1)));
    EXPECT_FALSE(sim::pictureFromText(""));
    EXPECT_FALSE(sim::pictureFromText('=' + text.substr(1)));
    EXPECT_FALSE(sim::pictureFromText(std::string(1, '\0') + text.substr(1)));
}

// ---- Records ----

TEST(Recording, EveryKindOfRecordComesBack) {
    for (const Record& record : allKinds()) {
        const std::string line = encode(record);
        EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
        std::string error;
        const auto back = decode(line.substr(0, line.size() - 1), error);
        ASSERT_TRUE(back) << line << error;
        EXPECT_EQ(back->content.index(), record.content.index());
        EXPECT_EQ(encode(*back), line);
    }
}

TEST(Recording, EveryByteOfALineComesBack) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += byte == '\n' ? "" : std::string(1, static_cast<char>(byte));
    }
    const std::string line = encode({LineIn{bytes}, 1});
    for (const char c : line.substr(0, line.size() - 1)) {
        EXPECT_TRUE(c >= ' ' && c <= '~') << line;
    }
    std::string error;
    const auto back = decode(line.substr(0, line.size() - 1), error);
    ASSERT_TRUE(back) << error;
    EXPECT_EQ(std::get<LineIn>(back->content).text, bytes);
}

TEST(Recording, WhatIsWrongIsNamed) {
    const std::vector<std::pair<std::string, std::string>> lines = {
        {"", "no JSON object"},
        {"[1]", "no JSON object"},
        {R"({"event":"exit","status":0,"ms":1)", "no JSON object"},
        {R"({"event":"jump","ms":1})", "unknown event \"jump\""},
        {R"({"ms":1})", "member \"event\" is missing or wrong"},
        {R"({"event":"exit","status":0})", "member \"ms\" is missing or wrong"},
        {R"({"event":"exit","status":0,"ms":-1})", "member \"ms\" is missing or wrong"},
        {R"({"event":"exit","status":0,"ms":1e300})", "member \"ms\" is missing or wrong"},
        {R"({"event":"exit","status":256,"ms":1})", "member \"status\" is missing or wrong"},
        {R"({"event":"exit","status":99999999999999999999,"ms":1})", "member \"status\" is missing or wrong"},
        {R"({"event":"exit","status":"0","ms":1})", "member \"status\" is missing or wrong"},
        {R"({"event":"line-in","text":"a\nb","ms":1})", "member \"text\" is missing or wrong"},
        {R"({"event":"line-in","text":"\u0100","ms":1})", "member \"text\" is missing or wrong"},
        {R"({"event":"key","key":"Talk_3","value":1,"joined":false,"ms":1})",
         "member \"key\" is missing or wrong"},
        {R"({"event":"key","key":"Talk_1","value":3,"joined":false,"ms":1})",
         "member \"value\" is missing or wrong"},
        {R"({"event":"turn","encoder":"Left","detents":10001,"reports":1,"joined":false,"ms":1})",
         "member \"detents\" is missing or wrong"},
        {R"({"event":"turn","encoder":"Left","detents":18446744073709551615,"reports":1,"joined":false,"ms":1})",
         "member \"detents\" is missing or wrong"},
        {R"({"event":"frame","frame":1,"picture":"AAAA","ms":1})", "member \"picture\" is missing or wrong"},
        {R"({"event":"fault","fault":"jump /dev/spidev3.0 EIO","ms":1})",
         "member \"fault\" is missing or wrong"},
        {R"({"event":"start","command":"a","arguments":[1],"disptype":{},"ms":1})",
         "member \"arguments\" is missing or wrong"},
    };
    for (const auto& [line, wrong] : lines) {
        std::string error;
        EXPECT_FALSE(decode(line, error)) << line;
        EXPECT_EQ(error, wrong) << line;
    }
}

TEST(Recording, MembersThatAreNotKnownAreNoFault) {
    std::string error;
    EXPECT_TRUE(decode(R"({"event":"exit","status":0,"comment":{"by":["hand"]},"ms":1})", error)) << error;
}

// ---- Files ----

TEST_F(RecordingFile, WholeRecordingIsRead) {
    EXPECT_EQ(check(textOf(allKinds())), "");
    EXPECT_TRUE(summary.started);
    EXPECT_TRUE(summary.heading.whole);
    EXPECT_EQ(summary.heading.state.variant, 1);
    EXPECT_EQ(summary.heading.state.leds[3], 255U);
}

TEST_F(RecordingFile, FramesComeWithTheirPictures) {
    folder.write("r", textOf(allKinds()));
    sim::RecordingReader reader(folder.file("r"));
    unsigned frames = 0;
    while (const auto record = reader.next()) {
        if (const auto* frame = std::get_if<Frame>(&record->content)) {
            EXPECT_EQ(frame->picture, somePicture()) << reader.line();
            ++frames;
        }
    }
    EXPECT_EQ(frames, 2U);
    EXPECT_EQ(reader.line(), 22);  // the end of the file
}

TEST_F(RecordingFile, EventsThatOneReadGaveAreFound) {
    const std::vector<Record> records = {{someHeading(), 0},
                                         {Key{103, 1, false}, 1},
                                         {Turn{sim::InputDevice::Left, 1, 1, false}, 1},
                                         {LineIn{"g:info"}, 1},
                                         {Key{103, 0, true}, 1},
                                         {Key{104, 1, true}, 1},
                                         {Turn{sim::InputDevice::Left, 1, 1, false}, 1},
                                         {Turn{sim::InputDevice::Right, 1, 1, true}, 1},
                                         {End{}, 2}};
    EXPECT_EQ(check(textOf(records)), "");
    EXPECT_EQ(summary.heldBack, (std::set<int>{2, 5}));
}

TEST_F(RecordingFile, MissingFileIsTold) {
    EXPECT_EQ(sim::checkRecording("/nowhere/r", summary),
              "cannot read /nowhere/r: No such file or directory");
    EXPECT_NE(sim::checkRecording(folder.path(), summary), "");
}

TEST_F(RecordingFile, RecordInTheWrongPlaceIsRefusedWithItsLine) {
    const std::string heading = encode({someHeading(), 0});
    const std::string exit = encode({Exit{0}, 5});
    const std::string end = encode({End{}, 6});
    EXPECT_EQ(check(exit + end), "r:1: the first record must be a \"recording\"");
    EXPECT_EQ(check(heading + heading + end), "r:2: a second \"recording\" record");
    EXPECT_EQ(check(heading + end + exit), "r:3: a record behind the \"end\"");
    EXPECT_EQ(check(heading + exit + encode({Exit{0}, 4.5}) + end), "r:3: the time goes back");
    EXPECT_EQ(check(heading + "\n" + end), "r:2: no JSON object");
    EXPECT_EQ(check(heading + std::string(70000, ' ') + "\n" + end), "r:2: a line of more than 65536 bytes");
}

TEST_F(RecordingFile, OtherVersionIsRefused) {
    std::string heading = encode({someHeading(), 0});
    heading.replace(heading.find("\"version\":1"), 11, "\"version\":2");
    EXPECT_EQ(check(heading), "r:1: version 2 of the format; this program reads version 1");
}

TEST_F(RecordingFile, CutOffRecordingIsRefusedWhereverItIsCut) {
    const std::string text = textOf(allKinds());
    int line = 1;
    for (std::size_t size = 0; size < text.size(); ++size) {
        const std::string error = check(text.substr(0, size));
        ASSERT_EQ(error, "r:" + std::to_string(line) +
                             ": the recording is cut off: its last record must be an \"end\"")
            << size;
        line += text[size] == '\n' ? 1 : 0;
    }
}

// Bytes changed, taken out, and put in at random places; with the same seed in every run.
TEST_F(RecordingFile, DamagedRecordingIsReadOrRefusedWithItsLine) {
    const std::string whole = textOf(allKinds());
    std::mt19937 random(20);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    int refused = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string text = whole;
        for (std::size_t damages = 1 + below(3); damages > 0; --damages) {
            const std::size_t at = below(text.size());
            text.replace(at, below(3), std::string(below(3), static_cast<char>(below(256))));
        }
        const std::string error = check(text);
        refused += error.empty() ? 0 : 1;
        ASSERT_TRUE(error.empty() || error.compare(0, 2, "r:") == 0) << error;
    }
    EXPECT_GT(refused, 2000);
}

}  // namespace
