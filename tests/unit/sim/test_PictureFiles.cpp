#include <gtest/gtest.h>

#include "sim/program/Pictures.h"
#include "sim/script/PictureCheck.h"
#include "tests/unit/sim/TemporaryFolder.h"

namespace {

sim::Picture somePicture() {
    sim::Picture picture;
    picture.set(0, 0, true);
    picture.set(95, 63, true);
    picture.set(40, 20, true);
    return picture;
}

TEST(PictureFiles, AnyScaleReadsBack) {
    const TemporaryFolder folder;
    for (const unsigned scale : {1U, 4U, 7U}) {
        ASSERT_TRUE(sim::savePicture(folder.file("p.png"), somePicture(), scale));
        EXPECT_EQ(sim::loadPicture(folder.file("p.png")), somePicture()) << scale;
    }
}

TEST(PictureFiles, WhatIsNoPictureIsRefused) {
    const TemporaryFolder folder;
    folder.write("text.png", "no picture");
    EXPECT_FALSE(sim::loadPicture(folder.file("text.png")));
    EXPECT_FALSE(sim::loadPicture(folder.file("missing.png")));
    EXPECT_FALSE(sim::savePicture("/nowhere/p.png", somePicture(), 1));
}

TEST(PictureCheck, EqualPictureLeavesNothingBehind) {
    const TemporaryFolder folder;
    const TemporaryFolder artifacts;
    ASSERT_TRUE(sim::savePicture(folder.file("p.png"), somePicture(), 2));
    EXPECT_FALSE(sim::checkPicture(folder.file("p.png"), somePicture(), {artifacts.path(), 4, false}));
    EXPECT_TRUE(artifacts.empty());
}

TEST(PictureCheck, DifferentPictureIsWrittenWithItsDifference) {
    const TemporaryFolder folder;
    ASSERT_TRUE(sim::savePicture(folder.file("p.png"), somePicture(), 1));
    sim::Picture got = somePicture();
    got.set(1, 0, true);
    got.set(0, 0, false);
    const auto difference = sim::checkPicture(folder.file("p.png"), got, {folder.path(), 4, false});
    ASSERT_TRUE(difference);
    EXPECT_EQ(difference->find("2 different pixels"), 0U) << *difference;
    EXPECT_EQ(sim::loadPicture(folder.file("p.got.png")), got);
    EXPECT_TRUE(std::filesystem::exists(folder.file("p.diff.png")));
}

TEST(PictureCheck, MissingPictureStillShowsWhatCame) {
    const TemporaryFolder folder;
    EXPECT_TRUE(sim::checkPicture(folder.file("new.png"), somePicture(), {folder.path(), 1, false}));
    EXPECT_EQ(sim::loadPicture(folder.file("new.got.png")), somePicture());
    EXPECT_FALSE(std::filesystem::exists(folder.file("new.diff.png")));
}

TEST(PictureCheck, UpdateWritesTheKeptPicture) {
    const TemporaryFolder folder;
    EXPECT_FALSE(sim::checkPicture(folder.file("new.png"), somePicture(), {folder.path(), 4, true}));
    EXPECT_EQ(sim::loadPicture(folder.file("new.png")), somePicture());
}

}  // namespace
