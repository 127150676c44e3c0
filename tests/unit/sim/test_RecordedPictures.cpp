// Animated GIFs and folders of frames: what they show and for how long.
#include <gif_lib.h>

#include <filesystem>
#include <sstream>
#include <vector>

#include "sim/program/Pictures.h"
#include "sim/record/GifWriter.h"
#include "sim/record/PictureViews.h"
#include "tests/unit/sim/recording_fixture.h"

namespace {

struct Image {
    sim::Picture picture;
    int units;  // 10 ms
    [[nodiscard]] bool operator==(const Image& other) const {
        return picture == other.picture && units == other.units;
    }
};

void draw(const SavedImage& image, unsigned scale, sim::Picture& glass) {
    const GifImageDesc& area = image.ImageDesc;
    for (int y = 0; y < area.Height; ++y) {
        for (int x = 0; x < area.Width; ++x) {
            const bool lit = image.RasterBits[y * area.Width + x] != 0;
            glass.set(static_cast<unsigned>(area.Left + x) / scale,
                      static_cast<unsigned>(area.Top + y) / scale, lit);
        }
    }
}

// The pictures as a viewer shows them.
std::vector<Image> read(const std::string& file, unsigned scale) {
    std::vector<Image> images;
    GifFileType* gif = DGifOpenFileName(file.c_str(), nullptr);
    if (gif == nullptr || DGifSlurp(gif) != GIF_OK) {
        ADD_FAILURE() << "no GIF: " << file;
    } else {
        EXPECT_EQ(gif->SWidth, static_cast<int>(sim::Picture::kWidth * scale));
        EXPECT_EQ(gif->SHeight, static_cast<int>(sim::Picture::kHeight * scale));
        sim::Picture glass;
        for (int i = 0; i < gif->ImageCount; ++i) {
            GraphicsControlBlock control{};
            EXPECT_EQ(DGifSavedExtensionToGCB(gif, i, &control), GIF_OK);
            EXPECT_EQ(control.DisposalMode, DISPOSE_DO_NOT);
            draw(gif->SavedImages[i], scale, glass);
            images.push_back({glass, control.DelayTime});
        }
    }
    DGifCloseFile(gif, nullptr);
    return images;
}

class Gif : public RecordedPanel {
protected:
    void open(unsigned scale = 1) { ASSERT_EQ(writer.open(work.file("g.gif"), scale), ""); }
    std::vector<Image> closed(double ms, unsigned scale = 1) {
        EXPECT_EQ(writer.close(ms), "");
        return read(work.file("g.gif"), scale);
    }
    sim::GifWriter writer;
};

TEST_F(Gif, PicturesAndTheirTimesComeBackAtAnyScale) {
    for (const unsigned scale : {1U, 3U, 8U}) {
        sim::GifWriter other;
        ASSERT_EQ(other.open(work.file("g.gif"), scale), "");
        other.show(dot(0, 0), 100);
        other.show(dot(95, 63), 350);
        other.show(sim::Picture(), 400);
        EXPECT_EQ(other.close(3400), "");
        EXPECT_EQ(read(work.file("g.gif"), scale),
                  (std::vector<Image>{{dot(0, 0), 25}, {dot(95, 63), 5}, {sim::Picture(), 300}}));
    }
}

TEST_F(Gif, EqualPicturesAreOne) {
    open();
    writer.show(dot(1, 1), 0);
    writer.show(dot(1, 1), 100);
    writer.show(dot(2, 2), 200);
    EXPECT_EQ(closed(1500), (std::vector<Image>{{dot(1, 1), 20}, {dot(2, 2), 130}}));
}

TEST_F(Gif, LastPictureIsKeptLongEnoughToBeSeen) {
    open();
    writer.show(dot(1, 1), 0);
    writer.show(dot(2, 2), 500);
    EXPECT_EQ(closed(501), (std::vector<Image>{{dot(1, 1), 50}, {dot(2, 2), 100}}));
}

TEST_F(Gif, WhatIsShownTooShortlyIsLeftOut) {
    open();
    writer.show(dot(1, 1), 0);
    writer.show(dot(2, 2), 100);
    writer.show(dot(3, 3), 105);
    writer.show(dot(4, 4), 112);
    writer.show(dot(5, 5), 500);
    EXPECT_EQ(closed(1500), (std::vector<Image>{{dot(1, 1), 10}, {dot(4, 4), 40}, {dot(5, 5), 100}}));
}

TEST_F(Gif, RoundingErrorsDoNotAddUp) {
    open();
    for (int i = 0; i < 300; ++i) {
        writer.show(dot(static_cast<std::size_t>(i % 2), 0), i * 33.3);
    }
    int units = 0;
    const std::vector<Image> images = closed(9000);
    for (std::size_t i = 0; i + 1 < images.size(); ++i) {
        EXPECT_GE(images[i].units, 3);
        EXPECT_LE(images[i].units, 4);
        units += images[i].units;
    }
    EXPECT_EQ(images.size(), 300U);
    EXPECT_EQ(units, 996);  // 299 * 33.3 ms
}

TEST_F(Gif, TimeBeyondOneImagesLimitIsMoreImages) {
    open();
    writer.show(dot(1, 1), 0);
    writer.show(dot(2, 2), 1000000);
    EXPECT_EQ(closed(1001000),
              (std::vector<Image>{{dot(1, 1), 65535}, {dot(1, 1), 100000 - 65535}, {dot(2, 2), 100}}));
}

TEST_F(Gif, FileThatCannotBeWrittenIsTold) {
    EXPECT_EQ(writer.open("/nowhere/g.gif", 1), "cannot write /nowhere/g.gif: No such file or directory");
    sim::GifWriter full;
    EXPECT_EQ(full.open("/dev/full", 1), "cannot write /dev/full: No space left on device");
    full.show(dot(1, 1), 0);
    full.show(dot(2, 2), 100);
    EXPECT_EQ(full.close(200), "cannot write /dev/full: No space left on device");
}

TEST_F(Gif, ViewShowsFramesAndADarkGlassWhileTheDisplayIsOff) {
    sim::GifView view(
        work.file("g.gif"), 1, [this] { return now; }, [](const std::string& what) { FAIL() << what; });
    ASSERT_EQ(view.start(seam), "");
    EXPECT_FALSE(view.wantsLines());
    showFrame(dot(5, 5));
    now += 200;
    const std::uint8_t off[] = {0xAE};
    panel.oled.command(off, sizeof off);
    now += 300;
    const std::uint8_t on[] = {0xAF};
    panel.oled.command(on, sizeof on);
    now += 2000;
    view.stop();
    EXPECT_EQ(read(work.file("g.gif"), 1),
              (std::vector<Image>{{dot(5, 5), 20}, {sim::Picture(), 30}, {dot(5, 5), 200}}));
}

// ---- Folders of frames ----

class FrameFolder : public RecordedPanel {
protected:
    std::vector<std::string> complaints;
    sim::Complaint complain = [this](const std::string& what) { complaints.push_back(what); };
};

TEST_F(FrameFolder, HoldsEachPictureOnceAndAnIndex) {
    sim::FrameFolder view(
        work.file("a/b"), 2, [this] { return now; }, complain);
    ASSERT_EQ(view.start(seam), "");
    showFrame(dot(1, 1));
    now += 0.5;
    showFrame(dot(1, 1));
    showFrame(dot(2, 2));
    view.stop();
    EXPECT_EQ(work.read("a/b/index.tsv"),
              "frame\tms\tfile\n1\t1000.000\tframe-000001.png\n2\t1000.500\tframe-000001.png\n"
              "3\t1000.500\tframe-000003.png\n");
    EXPECT_EQ(sim::loadPicture(work.file("a/b/frame-000001.png")), dot(1, 1));
    EXPECT_EQ(sim::loadPicture(work.file("a/b/frame-000003.png")), dot(2, 2));
    EXPECT_FALSE(std::filesystem::exists(work.file("a/b/frame-000002.png")));
    EXPECT_TRUE(complaints.empty());
}

TEST_F(FrameFolder, FolderThatCannotBeMadeIsTold) {
    work.write("file", "");
    sim::FrameFolder view(
        work.file("file"), 1, [this] { return now; }, complain);
    EXPECT_NE(view.start(seam), "");
}

TEST_F(FrameFolder, PictureThatCannotBeWrittenIsToldOnce) {
    sim::FrameFolder view(
        work.file("a"), 1, [this] { return now; }, complain);
    ASSERT_EQ(view.start(seam), "");
    std::filesystem::create_directory(work.file("a/frame-000001.png"));
    showFrame(dot(1, 1));
    showFrame(dot(2, 2));
    view.stop();
    EXPECT_EQ(complaints, (std::vector<std::string>{"cannot write " + work.file("a/frame-000001.png")}));
}

}  // namespace
