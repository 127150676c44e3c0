// The web page's parts that need no browser: addresses, checks, messages, what pages are told.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/program/Pictures.h"
#include "sim/view/StateKeeper.h"
#include "sim/web/Glass.h"
#include "sim/web/PageFeed.h"
#include "sim/web/PageFiles.h"
#include "sim/web/PageMessage.h"
#include "sim/web/RateLimit.h"
#include "sim/web/WebAddress.h"
#include "tests/unit/sim/TemporaryFolder.h"

namespace {

using Json = nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::seconds;

// ---- Addresses and checks ----

struct ParsedAddress {
    const char* text;
    const char* url;  // empty: it is none
};

TEST(WebAddress, IsAPortWithAnAddressBeforeIt) {
    const ParsedAddress cases[] = {
        {"", "http://127.0.0.1:8096/"},
        {"8080", "http://127.0.0.1:8080/"},
        {"0", "http://127.0.0.1:0/"},
        {"localhost:80", "http://127.0.0.1:80/"},
        {"0.0.0.0:8096", "http://0.0.0.0:8096/"},
        {"[::1]:8096", "http://[::1]:8096/"},
        {"[::]:1", "http://[::]:1/"},
        {"65536", ""},
        {"-1", ""},
        {"x", ""},
        {":80", ""},
        {"127.0.0.1:", ""},
        {"127.0.0.1", ""},
        {"256.0.0.1:80", ""},
        {"example.org:80", ""},
        {"::1:80", ""},
        {"[::1]", ""},
        {"[::1]80", ""},
        {"[127.0.0.1]:80", ""},
        {"127.0.0.1:80 ", ""},
    };
    for (const ParsedAddress& expected : cases) {
        const auto address = sim::WebAddress::parse(expected.text);
        EXPECT_EQ(address ? address->url() : "", expected.url) << expected.text;
    }
}

TEST(WebAddress, LoopbackIsAWholeNetwork) {
    EXPECT_TRUE(sim::WebAddress().isLoopback());
    EXPECT_TRUE(sim::WebAddress::parse("127.9.9.9:1")->isLoopback());
    EXPECT_TRUE(sim::WebAddress::parse("[::1]:1")->isLoopback());
    EXPECT_FALSE(sim::WebAddress::parse("0.0.0.0:1")->isLoopback());
    EXPECT_FALSE(sim::WebAddress::parse("[::]:1")->isLoopback());
}

TEST(RequestChecks, OnTheLoopbackOnlyItsNamesAreTaken) {
    const sim::WebAddress loopback;
    for (const char* host : {"localhost", "localhost:8096", "LocalHost:1", "127.0.0.1", "127.0.0.1:8096",
                             "127.1.2.3", "[::1]:8096"}) {
        EXPECT_TRUE(sim::hostIsOurs(host, loopback)) << host;
    }
    for (const char* host :
         {"", ":8096", "evil.example", "evil.example:8096", "localhost.evil.example", "10.0.0.1", "0.0.0.0",
          "127.0.0.1.evil.example", "[::2]", "[::1", "localhost:80:80", "[::1]x80"}) {
        EXPECT_FALSE(sim::hostIsOurs(host, loopback)) << host;
    }
}

TEST(RequestChecks, BeyondTheLoopbackAddressesAreTakenButNoOtherNames) {
    const sim::WebAddress everywhere = *sim::WebAddress::parse("0.0.0.0:8096");
    for (const char* host : {"localhost:8096", "192.168.1.7:8096", "[fe80::1]:8096"}) {
        EXPECT_TRUE(sim::hostIsOurs(host, everywhere)) << host;
    }
    for (const char* host : {"", "evil.example:8096", "192.168.1.7.evil.example"}) {
        EXPECT_FALSE(sim::hostIsOurs(host, everywhere)) << host;
    }
}

TEST(RequestChecks, OriginIsNoneOrThePageItself) {
    EXPECT_TRUE(sim::originIsOurs("", "localhost:8096"));
    EXPECT_TRUE(sim::originIsOurs("http://LOCALHOST:8096", "localhost:8096"));
    for (const char* origin : {"null", "https://localhost:8096", "http://localhost", "http://localhost:80",
                               "http://evil.example", "http://localhost:8096.evil.example"}) {
        EXPECT_FALSE(sim::originIsOurs(origin, "localhost:8096")) << origin;
    }
}

TEST(RateLimit, GivesSoManyAtOnceAndThenByTime) {
    sim::RateLimit limit(3, 10);
    const sim::RateLimit::Clock::time_point start{seconds(100)};
    EXPECT_TRUE(limit.take(start));
    EXPECT_TRUE(limit.take(start));
    EXPECT_TRUE(limit.take(start));
    EXPECT_FALSE(limit.take(start));
    EXPECT_FALSE(limit.take(start + milliseconds(50)));
    EXPECT_TRUE(limit.take(start + milliseconds(110)));
    EXPECT_FALSE(limit.take(start + milliseconds(110)));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(limit.take(start + seconds(60)));
    }
    EXPECT_FALSE(limit.take(start + seconds(60)));
}

// ---- What a page sends ----

using Verb = sim::PageMessage::Verb;

TEST(PageMessage, HasItsVerbAndWhatItNeeds) {
    const auto press = sim::PageMessage::parse(R"({"do":"press","id":7,"key":"Talk_1"})");
    ASSERT_TRUE(press);
    EXPECT_EQ(press->verb, Verb::Press);
    EXPECT_EQ(press->id, 7U);
    EXPECT_EQ(press->text, "Talk_1");
    const auto turn = sim::PageMessage::parse(R"({"do":"turn","encoder":"Left","detents":-10000})");
    ASSERT_TRUE(turn);
    EXPECT_EQ(turn->id, 0U);
    EXPECT_EQ(turn->text, "Left");
    EXPECT_EQ(turn->detents, -10000);
    const auto drawn = sim::PageMessage::parse(R"({"do":"drawn","update":3})");
    ASSERT_TRUE(drawn);
    EXPECT_EQ(drawn->verb, Verb::Drawn);
    EXPECT_EQ(drawn->update, 3U);
    const auto record = sim::PageMessage::parse(R"({"do":"record","on":true})");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->verb, Verb::Record);
    EXPECT_TRUE(record->on);
}

TEST(PageMessage, AnythingElseIsNone) {
    const std::string notText = "{\"do\":\"line\",\"text\":\"\xFF\"}";
    for (const std::string& text :
         {std::string(),
          std::string("x"),
          std::string("[]"),
          std::string("{}"),
          std::string("null"),
          std::string(R"({"do":"fly"})"),
          std::string(R"({"do":1})"),
          std::string(R"({"do":"press"})"),
          std::string(R"({"do":"press","key":null})"),
          std::string(R"({"do":"press","key":"x","id":-1})"),
          std::string(R"({"do":"press","key":"x","id":"1"})"),
          std::string(R"({"do":"turn","encoder":"Left"})"),
          std::string(R"({"do":"turn","encoder":"Left","detents":10001})"),
          std::string(R"({"do":"turn","encoder":"Left","detents":1.5})"),
          std::string(R"({"do":"turn","encoder":"Left","detents":18446744073709551615})"),
          std::string(R"({"do":"drawn","update":-1})"),
          std::string(R"({"do":"record","on":1})"),
          std::string(R"({"do":"press","key":"x"} {})"),
          notText,
          std::string(16000, '['),
          std::string("{\"do\":\"line\",\"text\":\"a\0b\"}", 26)}) {
        EXPECT_FALSE(sim::PageMessage::parse(text)) << text.substr(0, 60);
    }
}

class CarriedOut : public ::testing::Test {
protected:
    CarriedOut() { EXPECT_TRUE(log.writeTo("/dev/null")); }

    std::string order(const std::string& text) {
        const auto message = sim::PageMessage::parse(text);
        return message ? message->carryOut(controls) : "no message";
    }

    sim::EventLoop loop;
    sim::EventLog log;
    sim::Panel panel{0};
    sim::DeviceServer devices{loop, panel, log};
    std::vector<std::string> sent;
    sim::Controls controls{panel, devices, [this](const std::string& text) {
                               sent.push_back(text);
                               return std::string("nobody reads");
                           }};
    sim::StateKeeper keeper{panel, 0, [] { return 0.0; }};
};

TEST_F(CarriedOut, EachOrderActsOnThePanelAndGivesItsError) {
    EXPECT_EQ(order(R"({"do":"press","key":"Talk_1"})"), "");
    EXPECT_TRUE(keeper.state().keysHeld[3]);
    EXPECT_EQ(order(R"({"do":"release","key":"Talk_1"})"), "");
    EXPECT_FALSE(keeper.state().keysHeld[3]);
    EXPECT_EQ(order(R"({"do":"turn","encoder":"Rear","detents":-2})"), "");
    EXPECT_EQ(keeper.state().detents[2], -2);
    EXPECT_EQ(order(R"({"do":"line","text":"g:info"})"), "nobody reads");
    EXPECT_EQ(sent, std::vector<std::string>{"g:info"});
    EXPECT_EQ(order(R"({"do":"unplug","path":"/dev/spidev4.0"})"), "");
    EXPECT_FALSE(keeper.state().plugged[6]);
    EXPECT_EQ(order(R"({"do":"plug","path":"/dev/spidev4.0"})"), "");
    EXPECT_TRUE(keeper.state().plugged[6]);
    EXPECT_EQ(order(R"({"do":"fail","path":"/dev/spidev4.0"})"), "");
    EXPECT_EQ(order(R"({"do":"fail","path":"/dev/null"})"), "no bus \"/dev/null\"");
    EXPECT_EQ(order(R"({"do":"press","key":"Talk_9"})"), "no key \"Talk_9\"");
}

// ---- What the glass shows ----

sim::Picture pictureWith(std::size_t x, std::size_t y) {
    sim::Picture picture;
    picture.set(x, y, true);
    return picture;
}

TEST(Glass, ShowsTheNewestWholeFrameWhileFramesCome) {
    sim::Glass glass;
    sim::PanelState published;
    published.picture = pictureWith(9, 9);
    const sim::Glass::Clock::time_point now{seconds(100)};
    EXPECT_EQ(glass.shown(published, now).picture, published.picture);
    glass.put(1, pictureWith(1, 1), now);
    glass.put(2, pictureWith(2, 2), now);
    published.frame = 2;
    EXPECT_EQ(glass.shown(published, now + milliseconds(10)).picture, pictureWith(2, 2));
    EXPECT_EQ(glass.shown(published, now + milliseconds(10)).frame, 2U);
}

TEST(Glass, ShowsWhatIsPublishedWhenItIsAtRest) {
    sim::Glass glass;
    const sim::Glass::Clock::time_point now{seconds(100)};
    glass.put(2, pictureWith(2, 2), now);
    sim::PanelState published;
    published.picture = pictureWith(9, 9);  // half of a third frame
    published.frame = 2;
    EXPECT_EQ(glass.shown(published, now + sim::Glass::kRest).picture, published.picture);
    published.frame = 1;  // older than the frame
    EXPECT_EQ(glass.shown(published, now + seconds(9)).picture, pictureWith(2, 2));
}

TEST(PackedPicture, IsRowsOfTwelveBytesFromTheLeft) {
    sim::Picture picture;
    EXPECT_EQ(sim::packedPicture(picture), std::string(1024, 'A'));
    picture.set(0, 0, true);
    picture.set(95, 63, true);
    const std::string packed = sim::packedPicture(picture);
    EXPECT_EQ(packed.substr(0, 4), "gAAA");
    EXPECT_EQ(packed.substr(1020), "AAAB");
}

TEST(PictureInMemory, IsTheSameAsTheFile) {
    const TemporaryFolder folder;
    const sim::Picture picture = pictureWith(5, 6);
    ASSERT_TRUE(sim::savePicture(folder.file("p.png"), picture, 3));
    EXPECT_EQ(sim::pngOf(picture, 3), folder.read("p.png"));
}

// ---- What a page is told ----

class Feed : public ::testing::Test {
protected:
    Json next() {
        const auto text = feed.next(now);
        return text ? Json::parse(*text) : Json();
    }
    void addLine(const std::string& text, std::uint64_t number) {
        now.news.lines.push_back({number, true, false, text, 1.5});
    }

    sim::PageFeed feed;
    sim::PageFeed::Now now;
};

TEST_F(Feed, HelloNamesWhatTheStatesArraysHold) {
    const Json hello = Json::parse(sim::PageFeed::hello(false)).at("hello");
    EXPECT_EQ(hello["keys"][3], "Talk_1");
    EXPECT_EQ(hello["leds"].size(), 8U);
    EXPECT_EQ(hello["outputs"][1]["name"], "Vibration Motor");
    EXPECT_EQ(hello["devices"][hello["firstBus"].get<std::size_t>()], "/dev/spidev3.0");
    EXPECT_EQ(hello["canRecord"], false);
    EXPECT_EQ(Json::parse(sim::PageFeed::hello(true))["hello"]["canRecord"], true);
}

TEST_F(Feed, FirstUpdateHasAllAndTheNextWhatIsNew) {
    now.news.version = 5;
    const Json first = next();
    EXPECT_EQ(first["update"], 1);
    EXPECT_TRUE(first.contains("picture"));
    EXPECT_TRUE(first["state"]["exit"].is_null());
    EXPECT_TRUE(next().is_null());
    now.news.version = 6;
    now.news.state.exitStatus = 139;
    const Json second = next();
    EXPECT_EQ(second["update"], 2);
    EXPECT_FALSE(second.contains("picture"));
    EXPECT_EQ(second["state"]["exit"], 139);
    now.glass = {pictureWith(1, 1), 1};
    EXPECT_EQ(next()["state"]["frame"], 1);
}

TEST_F(Feed, RecordingAndTheEndAreNews) {
    next();
    now.recording = "today.rec";
    EXPECT_EQ(next()["state"]["recording"], "today.rec");
    now.ended = true;
    EXPECT_EQ(next()["state"]["ended"], true);
    EXPECT_TRUE(next().is_null());
}

TEST_F(Feed, PageThatDoesNotDrawGetsTwoUpdates) {
    EXPECT_TRUE(feed.ready());
    next();
    EXPECT_TRUE(feed.ready());
    now.news.version = 1;
    next();
    EXPECT_FALSE(feed.ready());
    EXPECT_FALSE(feed.drawn(3));
    EXPECT_TRUE(feed.drawn(1));
    EXPECT_TRUE(feed.ready());
    EXPECT_TRUE(feed.drawn(2));
    EXPECT_TRUE(feed.drawn(1));  // late, and of no effect
    EXPECT_TRUE(feed.ready());
}

TEST_F(Feed, LinesAreTextThatCanBeShown) {
    now.news.version = 1;
    addLine("<b>\xFF\x1B", 4);
    EXPECT_EQ(next()["lines"], Json::parse(R"([[4, true, false, 1.5, "<b>\\xFF\\x1B"]])"));
    EXPECT_EQ(feed.lastLine(), 4U);
}

TEST_F(Feed, OfManyLinesTheNewestAreToldAndTheOthersCounted) {
    now.news.version = 1;
    now.news.missed = 7;
    for (std::uint64_t number = 8; number < 8 + 500; ++number) {
        addLine("x", number);
    }
    const Json update = next();
    EXPECT_EQ(update["lines"].size(), sim::PageFeed::kLinesAtOnce);
    EXPECT_EQ(update["lines"].back()[0], 507);
    EXPECT_EQ(update["missed"], 7 + 500 - sim::PageFeed::kLinesAtOnce);
    EXPECT_EQ(feed.lastLine(), 507U);
}

TEST_F(Feed, ResultsAreToldOnce) {
    next();
    feed.addResult(3, "");
    feed.addResult(4, "no key \"\xFF\"");
    const Json update = next();
    EXPECT_EQ(update["results"][0], Json::parse(R"([3, ""])"));
    EXPECT_EQ(update["results"][1][0], 4);
    EXPECT_EQ(feed.waitingResults(), 0U);
    EXPECT_TRUE(next().is_null());
}

// ---- The page's files ----

TEST(PageFiles, AreBuiltIn) {
    const sim::PageFile* page = sim::findPageFile("/");
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->type, "text/html; charset=utf-8");
    EXPECT_EQ(page->bytes.substr(0, 15), "<!doctype html>");
    ASSERT_NE(sim::findPageFile("/page.js"), nullptr);
    EXPECT_EQ(sim::findPageFile("/page.js")->type, "text/javascript; charset=utf-8");
    for (const char* path : {"", "/index.html", "page.js", "/page.js/", "//"}) {
        EXPECT_EQ(sim::findPageFile(path), nullptr) << path;
    }
}

}  // namespace
