#include "graphics/SimpleString.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "allocation_watch.h"
#include "end_process.h"

namespace {

using StringData = SimpleString::StringData;

// Built before main: the shared record must serve static strings of any file.
const SimpleString staticFromNull(static_cast<const char*>(nullptr));
const SimpleString staticText("static");

bool isShared(const SimpleString& s) {
    return s.GetData() == &SimpleString::m_empty;
}

unsigned int stepOf(const SimpleString& s) {
    return s.GetData()->m_cbGrowBy;
}

std::string text(const SimpleString& s) {
    return std::string(s.c_str(), s.GetLength());
}

// Text, and the promises that hold for every string.
void expectText(const SimpleString& s, const std::string& expected) {
    EXPECT_EQ(text(s), expected);
    EXPECT_EQ(s.c_str()[s.GetLength()], '\0');
    EXPECT_LE(s.GetLength(), s.GetSize());
}

TEST(SimpleStringRecord, CreateGivesAnEmptyRecordOfTheCapacity) {
    for (const std::uint32_t cap : {0U, 1U, 3U, 4U, 100U}) {
        StringData* data = StringData::Create(cap);
        EXPECT_EQ(data->m_cbData, 0U);
        EXPECT_EQ(data->m_cbSize, cap);
        EXPECT_EQ(data->m_cbGrowBy, 0U);
        EXPECT_EQ(data->GetData(), data->m_str);
        EXPECT_STREQ(data->GetData(), "");
        std::memset(data->GetData(), 'x', cap);
        data->GetData()[cap] = '\0';
        EXPECT_EQ(std::strlen(data->GetData()), cap);
        data->Destroy();
    }
}

TEST(SimpleStringRecord, DestroyIgnoresNull) {
    StringData* none = nullptr;
    StringData::Destroy(none);
    EXPECT_EQ(none, nullptr);
}

TEST(SimpleStringRecord, SharedRecordHoldsNothing) {
    EXPECT_EQ(SimpleString::m_empty.m_cbData, 0U);
    EXPECT_EQ(SimpleString::m_empty.m_cbSize, 0U);
    EXPECT_STREQ(SimpleString::m_empty.GetData(), "");
}

TEST(SimpleStringRecord, ServesStringsBuiltBeforeMain) {
    EXPECT_TRUE(isShared(staticFromNull));
    expectText(staticText, "static");
}

TEST(SimpleStringRecord, StringFindsItsRecordInFrontOfItsText) {
    SimpleString s("abc");
    EXPECT_EQ(s.GetData()->GetData(), s.c_str());
    EXPECT_EQ(std::as_const(s).GetData()->GetData(), s.c_str());
    EXPECT_EQ(sizeof(s), sizeof(char*));
}

TEST(SimpleStringConstructor, DefaultHasItsOwnRecord) {
    const SimpleString s;
    EXPECT_FALSE(isShared(s));
    EXPECT_EQ(s.GetSize(), 0U);
    EXPECT_EQ(stepOf(s), 32U);
    expectText(s, "");
}

TEST(SimpleStringConstructor, TextGetsExactlyItsLength) {
    const SimpleString s("hello");
    expectText(s, "hello");
    EXPECT_EQ(s.GetSize(), 5U);
    EXPECT_EQ(stepOf(s), 32U);
}

TEST(SimpleStringConstructor, NullIsSharedButEmptyTextIsPrivate) {
    const SimpleString none(static_cast<const char*>(nullptr));
    EXPECT_TRUE(isShared(none));
    const SimpleString empty("");
    EXPECT_FALSE(isShared(empty));
    EXPECT_EQ(empty.GetSize(), 0U);
    EXPECT_EQ(stepOf(empty), 32U);
}

TEST(SimpleStringConstructor, CountCopiesExactlyThatManyBytes) {
    const SimpleString s("ab\0cd", 5);
    expectText(s, std::string("ab\0cd", 5));
    EXPECT_EQ(s.GetSize(), 5U);
    EXPECT_EQ(stepOf(s), 32U);
    const char raw[2] = {'x', 'y'};
    expectText(SimpleString(raw, 2), "xy");
    EXPECT_TRUE(isShared(SimpleString("abc", 0U)));
    EXPECT_TRUE(isShared(SimpleString(static_cast<const char*>(nullptr), 3)));
}

TEST(SimpleStringConstructor, CapacityAndStepAreTaken) {
    const SimpleString s(10, 7);
    expectText(s, "");
    EXPECT_EQ(s.GetSize(), 10U);
    EXPECT_EQ(stepOf(s), 7U);
}

TEST(SimpleStringConstructor, StepFfffffffGrowsByTheCapacity) {
    SimpleString s(16, 0xFFFFFFFF);
    EXPECT_EQ(stepOf(s), 16U);
    s.Append("0123456789abcdef");
    EXPECT_EQ(s.GetSize(), 16U);
    s.Append('g');
    EXPECT_EQ(s.GetSize(), 32U);
    s.Append("0123456789abcdef", 16);
    EXPECT_EQ(s.GetSize(), 48U);
    expectText(s, "0123456789abcdefg0123456789abcdef");
}

TEST(SimpleStringCopy, IsDeepAndRoundedUpToTheStep) {
    SimpleString source(100, 24);
    source.Append("abc");
    SimpleString copy(source);
    expectText(copy, "abc");
    EXPECT_EQ(copy.GetSize(), 24U);
    EXPECT_EQ(stepOf(copy), 24U);
    copy.Append('d');
    expectText(source, "abc");
}

TEST(SimpleStringCopy, KeepsBytesBehindANul) {
    const SimpleString source("\0ab", 3);
    const SimpleString copy(source);
    expectText(copy, std::string("\0ab", 3));
}

TEST(SimpleStringCopy, StaysSharedWhenTheSourceIsEmpty) {
    const SimpleString source(100, 8);
    const SimpleString copy(source);
    EXPECT_TRUE(isShared(copy));
}

TEST(SimpleStringCopy, SetsTheStepOfTheSharedRecord) {
    SimpleString grown(static_cast<const char*>(nullptr));
    const SimpleString source(100, 8);
    const SimpleString copy(source);
    EXPECT_EQ(SimpleString::m_empty.m_cbGrowBy, 8U);
    grown.Append('x');
    EXPECT_EQ(grown.GetSize(), 8U);
    EXPECT_EQ(stepOf(grown), 8U);

    const SimpleString another("abc");
    const SimpleString anotherCopy(another);
    EXPECT_EQ(SimpleString::m_empty.m_cbGrowBy, 32U);
    EXPECT_EQ(anotherCopy.GetSize(), 32U);
}

TEST(SimpleStringCopy, StepZeroMeans32) {
    const SimpleString source(10, 0);
    const SimpleString copy(source);
    SimpleString grown(static_cast<const char*>(nullptr));
    EXPECT_EQ(SimpleString::m_empty.m_cbGrowBy, 0U);
    grown.Append('x');
    EXPECT_EQ(grown.GetSize(), 32U);
    EXPECT_EQ(stepOf(grown), 0U);
}

TEST(SimpleStringEmpty, KeepsTheCapacity) {
    SimpleString s("hello");
    s.Empty();
    expectText(s, "");
    EXPECT_EQ(s.GetSize(), 5U);
    EXPECT_TRUE(s.IsEmpty());
}

TEST(SimpleStringSetGrowBy, ChangesTheStepOfAString) {
    SimpleString s("hello");
    s.SetGrowBy(3);
    EXPECT_EQ(stepOf(s), 3U);
    s.Append('x');
    EXPECT_EQ(s.GetSize(), 8U);
}

TEST(SimpleStringSetGrowBy, GivesAnEmptyStringAFreshRecordAndKeepsTheOldOneAlive) {
    SimpleString s(100, 8);
    StringData* old = s.GetData();
    s.SetGrowBy(5);
    EXPECT_NE(s.GetData(), old);
    EXPECT_EQ(s.GetSize(), 0U);
    EXPECT_EQ(stepOf(s), 5U);
    EXPECT_STREQ(old->GetData(), "");
    EXPECT_EQ(old->m_cbSize, 100U);
    old->Destroy();
}

TEST(SimpleStringSetGrowBy, LeavesTheSharedRecordAlone) {
    const SimpleString eight(1, 8);
    const SimpleString copy(eight);
    SimpleString s(static_cast<const char*>(nullptr));
    s.SetGrowBy(5);
    EXPECT_FALSE(isShared(s));
    EXPECT_EQ(SimpleString::m_empty.m_cbGrowBy, 8U);
}

TEST(SimpleStringGrow, GrowStringByRoundsUpAndAlwaysReallocates) {
    SimpleString s("abc");
    s.SetGrowBy(10);
    s.GrowStringBy(1);
    EXPECT_EQ(s.GetSize(), 13U);
    s.GrowStringBy(10);
    EXPECT_EQ(s.GetSize(), 23U);
    s.GrowStringBy(11);
    EXPECT_EQ(s.GetSize(), 43U);
    const StringData* old = s.GetData();
    s.GrowStringBy(0);
    EXPECT_NE(s.GetData(), old);
    EXPECT_EQ(s.GetSize(), 43U);
    EXPECT_EQ(stepOf(s), 10U);
    expectText(s, "abc");
}

TEST(SimpleStringGrow, CapacityBeyond32BitsIsAnAllocationFailure) {
    SimpleString s("abc");
    EXPECT_THROW(s.GrowStringBy(0xFFFFFFFF), std::bad_alloc);
    EXPECT_THROW(s.GetBuffer(0xFFFFFFFF), std::bad_alloc);
    EXPECT_THROW(SimpleString(0xFFFFFFFF, 1), std::bad_alloc);
    expectText(s, "abc");
}

// The record's size is left of 32 bits. No memory of this size is taken: the request is refused.
TEST(SimpleStringGrow, LargestCapacityFailsForNothingButMemory) {
    constexpr std::uint32_t kLargest = 0xFFFFFFFF - sizeof(StringData);
    const auto requestsFor = [](std::uint32_t capacity) {
        const long before = AllocationWatch::requests;
        AllocationWatch::refused = before + 1;
        try {
            const SimpleString s(capacity, 1);
        } catch (const std::bad_alloc&) {
            AllocationWatch::refused = 0;
        }
        EXPECT_EQ(AllocationWatch::refused, 0) << capacity;
        return AllocationWatch::requests - before;
    };
    EXPECT_EQ(requestsFor(kLargest), 1);
    EXPECT_EQ(requestsFor(kLargest + 1), 0);
}

TEST(SimpleStringAppend, FirstByteGrowsByOneStep) {
    SimpleString s;
    s.Append('x');
    EXPECT_EQ(s.GetSize(), 32U);
    expectText(s, "x");
    for (int i = 1; i < 32; ++i) {
        s.Append('x');
    }
    EXPECT_EQ(s.GetSize(), 32U);
    s.Append('x');
    EXPECT_EQ(s.GetSize(), 64U);
    expectText(s, std::string(33, 'x'));
}

TEST(SimpleStringAppend, ThirtyThreeBytesAtOnceGive64) {
    SimpleString s;
    s.Append(std::string(33, 'y').c_str());
    EXPECT_EQ(s.GetSize(), 64U);
    expectText(s, std::string(33, 'y'));
}

TEST(SimpleStringAppend, GrowsOnlyWhenTheTextDoesNotFit) {
    SimpleString s(10, 32);
    s.Append("0123456789");
    EXPECT_EQ(s.GetSize(), 10U);
    s.Append("a");
    EXPECT_EQ(s.GetSize(), 42U);
    SimpleString t(10, 32);
    t.Append("01234");
    t.Append("0123456789", 6);
    EXPECT_EQ(t.GetSize(), 42U);
    expectText(t, "01234012345");
}

TEST(SimpleStringAppend, NullAndEmptyTextsAddNothing) {
    SimpleString s("a");
    s.Append(static_cast<const char*>(nullptr));
    s.Append(static_cast<const char*>(nullptr), 3);
    s.Append("");
    s.Append("\0bc", 3);
    s.Append(SimpleString());
    expectText(s, "a");
    EXPECT_EQ(s.GetSize(), 1U);
}

TEST(SimpleStringAppend, CountZeroMeansTheWholeText) {
    SimpleString s;
    s.Append("hello", 0);
    s.Append("hello", 2);
    s.Append("x\0y", 3);
    expectText(s, std::string("hellohex\0y", 10));
}

TEST(SimpleStringAppend, TakesAllBytesOfAString) {
    SimpleString s("a");
    s.Append(SimpleString("\0b", 2));
    expectText(s, std::string("a\0b", 3));
}

TEST(SimpleStringAppend, TextMayLieInTheStringItself) {
    SimpleString s("abc");
    s.Append(s);
    expectText(s, "abcabc");
    s.Append(s.c_str() + 4);
    expectText(s, "abcabcbc");
    s.SetGrowBy(1);
    s.Append(s.c_str(), s.GetLength());
    expectText(s, "abcabcbcabcabcbc");
}

TEST(SimpleStringAppend2, CountIsOnlyAGrowthHint) {
    SimpleString s("abc");
    s.SetGrowBy(10);
    s.Append2('d', 25);
    expectText(s, "abcd");
    EXPECT_EQ(s.GetSize(), 33U);
    s.Append2('e', 1000);
    expectText(s, "abcde");
    EXPECT_EQ(s.GetSize(), 33U);
}

TEST(SimpleStringAppend2, HintZeroDoesNotGrow) {
    SimpleString full("abc");
    full.Append2('d', 0);
    expectText(full, "abc");
    EXPECT_EQ(full.GetSize(), 3U);
    SimpleString roomy(8, 8);
    roomy.Append2('d', 0);
    expectText(roomy, "d");
}

TEST(SimpleStringAppendNum, WritesDecimal) {
    SimpleString s("n=");
    s.AppendNum(0);
    s.Append(' ');
    s.AppendNum(1234567890);
    s.Append(' ');
    s.AppendNum(ULLONG_MAX);
    expectText(s, "n=0 1234567890 18446744073709551615");
}

TEST(SimpleStringSet, ReplacesTheContents) {
    SimpleString s("hello");
    s.Set('x');
    expectText(s, "x");
    EXPECT_EQ(s.GetSize(), 5U);
    s.Set("abcdef", 3);
    expectText(s, "abc");
    s.Set("abcdef");
    expectText(s, "abcdef");
    EXPECT_EQ(s.GetSize(), 37U);
    s.Set(SimpleString("other"));
    expectText(s, "other");
    s.Set(static_cast<const char*>(nullptr));
    expectText(s, "");
}

TEST(SimpleStringSet, OwnBufferChangesNothing) {
    SimpleString s("hello");
    s.Set(s.c_str(), 2);
    expectText(s, "hello");
}

TEST(SimpleStringSet, TextFurtherInsideItselfIsTaken) {
    SimpleString s("hello");
    s.Set(s.c_str() + 2);
    expectText(s, "llo");
    s.Set(s.c_str() + 3);
    expectText(s, "");
}

TEST(SimpleStringSet, StringFromItselfIsLeftEmpty) {
    SimpleString s("hello");
    s.Set(s);
    expectText(s, "");
    EXPECT_EQ(s.GetSize(), 5U);
}

TEST(SimpleStringAssign, ReplacesAndLeavesSelfAlone) {
    SimpleString s("hello");
    const SimpleString& self = s;
    s = self;
    expectText(s, "hello");
    s = SimpleString("other");
    expectText(s, "other");
    s = "text";
    expectText(s, "text");
    s = 'c';
    expectText(s, "c");
}

TEST(SimpleStringGetBuffer, GrowsOnlyWhenTheCapacityIsNotGreater) {
    SimpleString s(10, 8);
    const char* before = s.c_str();
    EXPECT_EQ(s.GetBuffer(9), before);
    EXPECT_EQ(s.GetSize(), 10U);
    EXPECT_NE(s.GetBuffer(10), before);
    EXPECT_EQ(s.GetSize(), 10U);
    s.GetBuffer(11);
    EXPECT_EQ(s.GetSize(), 18U);
    s.GetBuffer(27);
    EXPECT_EQ(s.GetSize(), 34U);
}

TEST(SimpleStringGetBuffer, KeepsTheTextAndNeverLendsTheSharedRecord) {
    SimpleString s("abc");
    EXPECT_STREQ(s.GetBuffer(50), "abc");
    SimpleString none(static_cast<const char*>(nullptr));
    none.GetBuffer(0);
    EXPECT_FALSE(isShared(none));
}

TEST(SimpleStringReleaseBuffer, NegativeCountTakesTheTextUpToTheNul) {
    SimpleString s;
    std::strcpy(s.GetBuffer(20), "hello");
    s.ReleaseBuffer();
    expectText(s, "hello");
    std::memset(s.GetBuffer(20), 'x', s.GetSize() + 1);
    s.ReleaseBuffer(-5);
    expectText(s, std::string(32, 'x'));
}

TEST(SimpleStringReleaseBuffer, CountLimitsTheText) {
    SimpleString s;
    std::strcpy(s.GetBuffer(20), "hello");
    s.ReleaseBuffer(3);
    expectText(s, "hel");
    s.ReleaseBuffer(10);
    expectText(s, "hel");
    s.ReleaseBuffer(0);
    expectText(s, "");
    std::memset(s.GetBuffer(20), 'x', s.GetSize() + 1);
    s.ReleaseBuffer(1000);
    expectText(s, std::string(32, 'x'));
}

TEST(SimpleStringIndex, CountsFromEitherEndAndGivesZeroOutside) {
    const SimpleString s("abc");
    EXPECT_EQ(s[0], 'a');
    EXPECT_EQ(s[2], 'c');
    EXPECT_EQ(s[3], 0);
    EXPECT_EQ(s[-1], 'c');
    EXPECT_EQ(s[-3], 'a');
    EXPECT_EQ(s[-4], 0);
    EXPECT_EQ(s[INT_MAX], 0);
    EXPECT_EQ(s[INT_MIN], 0);
    EXPECT_EQ(SimpleString()[0], 0);
}

TEST(SimpleStringIndex, ByteIsUnsigned) {
    EXPECT_EQ(SimpleString("\xFE")[0], 0xFE);
}

TEST(SimpleStringFind, GivesFirstAndLastIndex) {
    const SimpleString s("hello");
    EXPECT_EQ(s.Find('l'), 2);
    EXPECT_EQ(s.FindRev('l'), 3);
    EXPECT_EQ(s.Find('x'), -1);
    EXPECT_EQ(s.FindRev('x'), -1);
    EXPECT_EQ(s.Find('\0'), 5);
    EXPECT_EQ(s.FindRev('\0'), 5);
}

TEST(SimpleStringParts, MidClampsStartAndCount) {
    const SimpleString s("hello");
    expectText(s.Mid(1), "ello");
    expectText(s.Mid(-2), "hello");
    expectText(s.Mid(5), "");
    expectText(s.Mid(9), "");
    expectText(s.Mid(-2, 2), "he");
    expectText(s.Mid(1, 3), "ell");
    expectText(s.Mid(3, 9), "lo");
    expectText(s.Mid(9, 2), "");
    expectText(s.Mid(1, -1), "");
    expectText(s.Mid(INT_MIN, INT_MAX), "hello");
}

TEST(SimpleStringParts, LeftAndRightClampTheCount) {
    const SimpleString s("hello");
    expectText(s.Left(2), "he");
    expectText(s.Left(9), "hello");
    expectText(s.Left(0), "");
    expectText(s.Left(-1), "");
    expectText(s.Right(2), "lo");
    expectText(s.Right(9), "hello");
    expectText(s.Right(0), "");
    expectText(s.Right(-1), "");
}

TEST(SimpleStringParts, HaveExactCapacityOrAreShared) {
    SimpleString s("hello");
    s.SetGrowBy(7);
    for (const SimpleString& part : {s.Mid(2, 2), s.Left(2), s.Right(2)}) {
        EXPECT_EQ(part.GetLength(), 2U);
    }
    EXPECT_EQ(s.Mid(2, 2).GetSize(), 2U);
    EXPECT_EQ(s.Left(3).GetSize(), 3U);
    EXPECT_EQ(s.Right(3).GetSize(), 3U);
    EXPECT_EQ(stepOf(s.Mid(1)), 32U);
    EXPECT_TRUE(isShared(s.Mid(9)));
    EXPECT_TRUE(isShared(s.Left(0)));
    EXPECT_TRUE(isShared(s.Right(-1)));
}

// Ends a process that spends 50 ms in the loop, with a status that tells whether the text became `inLoop`.
const char* loopText = nullptr;
const char* inLoop = nullptr;
constexpr int kStillConverting = 42;

void reportLoop(int) {
    endProcess(std::strcmp(loopText, inLoop) == 0 ? kStillConverting : 1);
}

void convertUnderCpuLimit(SimpleString& s, void (SimpleString::*convert)(), const char* expected) {
    loopText = s.c_str();
    inLoop = expected;
    std::signal(SIGVTALRM, &reportLoop);
    const itimerval limit{{0, 0}, {0, 50000}};
    setitimer(ITIMER_VIRTUAL, &limit, nullptr);
    (s.*convert)();
    endProcess(0);
}

TEST(SimpleStringMakeCaseDeathTest, NeverReturnsAndNeverLeavesTheFirstByte) {
    SimpleString lower("abc");
    EXPECT_EXIT(convertUnderCpuLimit(lower, &SimpleString::MakeUpper, "Abc"),
                ::testing::ExitedWithCode(kStillConverting), "");
    SimpleString upper("ABC");
    EXPECT_EXIT(convertUnderCpuLimit(upper, &SimpleString::MakeLower, "aBC"),
                ::testing::ExitedWithCode(kStillConverting), "");
}

TEST(SimpleStringMakeCase, ReturnsOnAnEmptyString) {
    SimpleString s;
    s.MakeUpper();
    s.MakeLower();
    expectText(s, "");
    SimpleString none(static_cast<const char*>(nullptr));
    none.MakeUpper();
    none.MakeLower();
    EXPECT_TRUE(isShared(none));
}

TEST(SimpleStringCase, ToUpperAndToLowerConvertACopy) {
    const SimpleString s("Menu 1\xE4");
    expectText(s.ToUpper(), "MENU 1\xE4");
    expectText(s.ToLower(), "menu 1\xE4");
    expectText(s, "Menu 1\xE4");
    expectText(SimpleString().ToUpper(), "");
}

TEST(SimpleStringMakeReverse, ReversesUpToTheFirstNul) {
    SimpleString odd("abc");
    odd.MakeReverse();
    expectText(odd, "cba");
    SimpleString cut("abcd\0ef", 7);
    cut.MakeReverse();
    expectText(cut, std::string("dcba\0ef", 7));
    SimpleString none(static_cast<const char*>(nullptr));
    none.MakeReverse();
    expectText(none, "");
}

TEST(SimpleStringTrim, RemovesTheFourBytesAtBothEnds) {
    SimpleString s("\t x \r\n");
    s.Trim();
    expectText(s, "x");
    SimpleString right(" \ta b\r\n ");
    right.TrimRight();
    expectText(right, " \ta b");
    SimpleString left(" \r\n\ta b ");
    left.TrimLeft();
    expectText(left, "a b ");
}

TEST(SimpleStringTrim, KeepsAVerticalTabAndOtherBytes) {
    SimpleString s(" \vx\f ");
    s.Trim();
    expectText(s, "\vx\f");
}

TEST(SimpleStringTrim, MayLeaveNothing) {
    SimpleString s(" \t\r\n ");
    s.Trim();
    expectText(s, "");
    SimpleString none(static_cast<const char*>(nullptr));
    none.Trim();
    EXPECT_TRUE(isShared(none));
}

TEST(SimpleStringCompare, EqualityIsByText) {
    const SimpleString s("Menu");
    const SimpleString same("Menu");
    const SimpleString other("menu");
    EXPECT_TRUE(s == "Menu" && s == same && s == s.c_str() && "Menu" == s);
    EXPECT_TRUE(s != "menu" && s != other && "menu" != s);
    EXPECT_FALSE(s == other || s == "Men" || s != same || s != "Menu");
    EXPECT_FALSE(s == static_cast<const char*>(nullptr));
    EXPECT_TRUE(s != static_cast<const char*>(nullptr));
    EXPECT_TRUE(SimpleString() == "");
}

TEST(SimpleStringCompare, EqNoCaseIgnoresCase) {
    const SimpleString s("Menu");
    EXPECT_TRUE(s.EqNoCase("mENU") && s.EqNoCase(SimpleString("MENU")));
    EXPECT_FALSE(s.EqNoCase("menus") || s.EqNoCase(static_cast<const char*>(nullptr)));
}

TEST(SimpleStringCompare, StaticFormsAcceptNull) {
    EXPECT_TRUE(SimpleString::Eq(nullptr, nullptr) && SimpleString::EqNoCase(nullptr, nullptr));
    EXPECT_FALSE(SimpleString::Eq(nullptr, "") || SimpleString::Eq("", nullptr));
    EXPECT_FALSE(SimpleString::EqNoCase(nullptr, "") || SimpleString::EqNoCase("", nullptr));
    EXPECT_TRUE(SimpleString::Eq("a", "a") && SimpleString::EqNoCase("a", "A"));
    EXPECT_FALSE(SimpleString::Eq("a", "A") || SimpleString::EqNoCase("a", "b"));
}

TEST(SimpleStringCompare, OrderIsByTextWithTheEmptyStringFirst) {
    const SimpleString empty;
    const SimpleString none(static_cast<const char*>(nullptr));
    const SimpleString a("a");
    const SimpleString b("b");
    EXPECT_TRUE(a < b && b > a && a <= b && b >= a);
    EXPECT_FALSE(b < a || a > b || b <= a || a >= b);
    EXPECT_TRUE(empty < a && a > empty);
    EXPECT_FALSE(empty < none || empty > none || a < empty);
    EXPECT_FALSE(a < a || a > a);
    EXPECT_TRUE(a <= a && a >= a && empty <= none && empty >= none);
}

TEST(SimpleStringCompare, EmptyMeansLengthZero) {
    const SimpleString nul("\0", 1);
    EXPECT_TRUE(SimpleString() < nul);
    EXPECT_FALSE(nul < SimpleString());
}

TEST(SimpleStringCompare, CmpniStopsWhereEitherTextEnds) {
    EXPECT_EQ(SimpleString::cmpni("Menu", "MENUX"), 0);
    EXPECT_EQ(SimpleString::cmpni("MENUX", "Menu"), 0);
    EXPECT_EQ(SimpleString::cmpni("", "anything"), 0);
    EXPECT_LT(SimpleString::cmpni("a", "B"), 0);
    EXPECT_EQ(SimpleString::cmpni("xz", "xa"), 'Z' - 'A');
    EXPECT_EQ(SimpleString::cmpni("\xFF", "a"), 0xFF - 'A');
}

TEST(SimpleStringCompare, CmpniPutsNullFirst) {
    EXPECT_EQ(SimpleString::cmpni(nullptr, nullptr), 0);
    EXPECT_EQ(SimpleString::cmpni(nullptr, "a"), -1);
    EXPECT_EQ(SimpleString::cmpni("a", nullptr), 1);
}

TEST(SimpleStringFormat, ReplacesTheContents) {
    SimpleString s("old text");
    s.Format("%s=%d", "x", 42);
    expectText(s, "x=42");
    s.Format("%s", "");
    expectText(s, "");
}

TEST(SimpleStringFormat, GrowsByTheStepAlsoWhenTheTextJustFits) {
    SimpleString s(6, 8);
    const StringData* before = s.GetData();
    s.Format("%s", "1234");
    EXPECT_EQ(s.GetData(), before);
    s.Format("%s", "12345");
    EXPECT_NE(s.GetData(), before);
    EXPECT_EQ(s.GetSize(), 6U);
    s.Format("%s", "123456");
    EXPECT_EQ(s.GetSize(), 14U);
    s.Format("%s", "123456789012345678901");
    EXPECT_EQ(s.GetSize(), 22U);
    s.Format("%s", "1234567890123456789012");
    EXPECT_EQ(s.GetSize(), 30U);
    expectText(s, "1234567890123456789012");
}

TEST(SimpleStringFormat, TextEndsAtAFormattedNul) {
    SimpleString s;
    s.Format("ab%ccd", 0);
    expectText(s, "ab");
}

TEST(SimpleStringFormat, RefusedFormatLeavesAWellFormedString) {
    SimpleString none(static_cast<const char*>(nullptr));
    none.Format("%ls", L"\x7FFFFFFF");
    EXPECT_FALSE(isShared(none));
    EXPECT_LE(none.GetLength(), none.GetSize());
    EXPECT_EQ(none.GetLength(), std::strlen(none.c_str()));
}

TEST(SimpleStringFormat, FormatNewGivesAStringToTheCaller) {
    const std::unique_ptr<SimpleString> s(SimpleString::FormatNew("%05d", 42));
    expectText(*s, "00042");
    EXPECT_EQ(stepOf(*s), 32U);
    EXPECT_EQ(s->GetSize(), 32U);
}

std::string quoted(const char* source) {
    SimpleString out;
    SimpleString::QuoteString(source, out);
    return text(out);
}

TEST(SimpleStringQuote, PutsTheTextBetweenQuotes) {
    EXPECT_EQ(quoted(""), R"("")");
    EXPECT_EQ(quoted("abc"), R"("abc")");
}

TEST(SimpleStringQuote, EscapesInnerQuotesButNotBackslashes) {
    EXPECT_EQ(quoted(R"(say "hi")"), R"("say \"hi\"")");
    EXPECT_EQ(quoted(R"(a\b)"), R"("a\b")");
}

TEST(SimpleStringQuote, BytesThatDoNotPrintBecomeHex) {
    EXPECT_EQ(quoted("\x01"), R"("\x01")");
    EXPECT_EQ(quoted("\t\x7f\xff"), R"("\x09\x7f\xff")");
    EXPECT_EQ(quoted("a\r"), R"("a\r")");
}

TEST(SimpleStringQuote, LineFeedClosesTheLine) {
    EXPECT_EQ(quoted("ab\n"), R"("ab\n")");
    EXPECT_EQ(quoted("ab\ncd"), "\"ab\\n\"\n\"cd\"");
    EXPECT_EQ(quoted("\n\n"), "\"\\n\"\n\"\\n\"");
}

TEST(SimpleStringQuote, KeepsTheCapacityOfItsTarget) {
    SimpleString out(100, 8);
    SimpleString::QuoteString("abc", out);
    EXPECT_EQ(out.GetSize(), 100U);
    expectText(out, R"("abc")");
    SimpleString small(1, 8);
    SimpleString::QuoteString("ab", small);
    EXPECT_EQ(small.GetSize(), 9U);
}

TEST(SimpleStringQuote, QuotesAStringItself) {
    SimpleString out;
    SimpleString("a\"b").QuoteString(out);
    expectText(out, R"("a\"b")");
}

TEST(SimpleStringInline, TellsStartAndEnd) {
    const SimpleString s("hello");
    EXPECT_TRUE(s.StartsWith("he") && s.StartsWith("") && s.StartsWith("hello"));
    EXPECT_FALSE(s.StartsWith("hello!") || s.StartsWith("lo") || s.StartsWith(nullptr));
    EXPECT_TRUE(s.EndsWith("lo") && s.EndsWith("") && s.EndWith("hello"));
    EXPECT_FALSE(s.EndsWith("hhello") || s.EndsWith("he") || s.EndWith(nullptr));
}

TEST(SimpleStringInline, SetNumReplacesTheContents) {
    SimpleString s("old");
    s.SetNum(42);
    expectText(s, "42");
    s.SetNum(ULLONG_MAX);
    expectText(s, "18446744073709551615");
    s.SetNum(LLONG_MIN);
    expectText(s, "-9223372036854775808");
    s.SetNum('A');
    expectText(s, "65");
}

TEST(SimpleStringInline, OperatorsAppend) {
    SimpleString s;
    s += 'a';
    s += "bc";
    s += SimpleString("d");
    s << 'e' << "f" << SimpleString("g") << 12 << -3 << 4U << 5UL;
    expectText(s, "abcdefg12-345");
}

TEST(SimpleStringInline, PlusMakesANewString) {
    const SimpleString a("a");
    expectText(a + SimpleString("b"), "ab");
    expectText(a + "bc", "abc");
    expectText(a + 'x', "ax");
    expectText("x" + a, "xa");
    expectText(a, "a");
}

TEST(SimpleStringInline, ConvertsToTextAndNumber) {
    const SimpleString s("42abc");
    const char* asText = s;
    EXPECT_EQ(asText, s.cstr());
    EXPECT_EQ(s.cstr(), s.c_str());
    EXPECT_EQ(static_cast<unsigned long>(s), 42UL);
    EXPECT_EQ(static_cast<unsigned long>(SimpleString("abc")), 0UL);
    EXPECT_TRUE(SimpleString().IsEmpty());
    EXPECT_FALSE(s.IsEmpty());
}

TEST(SimpleStringModel, BehavesLikeAStringUnderRandomOperations) {
    std::mt19937 random(3);
    SimpleString s;
    std::string model;
    for (int step = 0; step < 20000; ++step) {
        const std::string piece(random() % 40, static_cast<char>('a' + step % 26));
        const int n = static_cast<int>(random() % 50) - 5;
        switch (random() % 8) {
            case 0:
                s.Append(piece.c_str());
                model += piece;
                break;
            case 1:
                s.Append('!');
                model += '!';
                break;
            case 2:
                s.Append(s.Left(n));
                model += model.substr(0, static_cast<std::size_t>(std::max(n, 0)));
                break;
            case 3:
                s.AppendNum(static_cast<unsigned int>(step));
                model += std::to_string(step);
                break;
            case 4:
                s.Set(s.Right(n));
                model = model.substr(model.size() - std::min(model.size(), std::size_t(std::max(n, 0))));
                break;
            case 5:
                s.MakeReverse();
                model.assign(model.rbegin(), model.rend());
                break;
            case 6:
                s = SimpleString(s);
                break;
            default:
                s.Append2('?', 1U + static_cast<unsigned int>(step) % 100);
                model += '?';
        }
        ASSERT_NO_FATAL_FAILURE(expectText(s, model));
    }
}

TEST(SimpleStringMemory, IsGivenBackByEveryGrowth) {
    const std::string words(200, 'w');
    const long before = AllocationWatch::live;
    {
        SimpleString s("a");
        s.Append(words.c_str(), 0);
        s.Append('c');
        s.Append2('d', 500);
        s.GrowStringBy(1000);
        s.Set(words.c_str(), 0);
        SimpleString copy(s);
        copy.Append(s);
        copy = s;
        copy.Format("%s%s", words.c_str(), words.c_str());
        EXPECT_GT(AllocationWatch::live, before);
    }
    EXPECT_EQ(AllocationWatch::live, before);
}

}  // namespace
