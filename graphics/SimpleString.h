// The growable byte string of the class-based modules: command tokens, file names, replies, diagnostics.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <type_traits>

// A byte string, one pointer wide: it points at the text of a heap record that carries length, capacity and
// growth step in front of the text. Copies are deep; only m_empty, the record of strings that hold nothing,
// is shared.
//
// Lengths, capacities and growth steps are in bytes and do not count the NUL that always ends the text. A
// record grows by multiples of its growth step and never shrinks. Byte counts and indexes are 32 bits wide.
// No operation reports errors: arguments out of range are clamped as told below, and when memory runs out (or
// a capacity would not fit 32 bits) the allocator's exception passes through. Not thread-safe, not even for
// separate strings, because they share m_empty.
//
// A `const char*` argument is a NUL-terminated text unless a count goes with it. It may point into the string
// that is changed, except in the Format family and QuoteString.
class SimpleString {
public:
    struct StringDataBase {
        std::uint32_t m_cbData;    // length
        std::uint32_t m_cbSize;    // capacity
        std::uint32_t m_cbGrowBy;  // growth step; 0 means kDefaultStep
    };

    // One record. m_str is only the start of the text: m_cbSize + 1 bytes, in the same block as the record.
    struct StringData : StringDataBase {
        char m_str[1];

        // A new record with an empty text and growth step 0. The caller owns it and frees it with Destroy().
        [[nodiscard]] static StringData* Create(std::uint32_t cap);

        // Frees a record made by Create(); null is ignored.
        static void Destroy(StringData* data);
        void Destroy() { Destroy(this); }

        // The text, m_str, reached through the record: the bytes behind m_str[0] belong to the block.
        [[nodiscard]] char* GetData() { return reinterpret_cast<char*>(this) + sizeof(StringDataBase); }
        [[nodiscard]] const char* GetData() const {
            return reinterpret_cast<const char*>(this) + sizeof(StringDataBase);
        }
    };

    static constexpr std::uint32_t kDefaultStep = 32;
    static constexpr unsigned int kStepIsCapacity = 0xFFFFFFFF;

    // The record shared by strings that hold nothing: length 0, capacity 0. Zero before any string is built,
    // never freed and never written, but for its growth step (see the copy constructor).
    static StringData m_empty;

    // Empty, with a record of its own of capacity 0 and step 32.
    SimpleString();
    // Copies `s`: the capacity is its length, the step 32. Null gives m_empty.
    SimpleString(const char* s);
    // Copies exactly `n` bytes, whatever they are: capacity n, step 32. n = 0 or a null `s` gives m_empty.
    SimpleString(const char* s, unsigned int n);
    // Empty, with capacity `cap` and step `growBy`; kStepIsCapacity makes the step equal to `cap`.
    SimpleString(unsigned int cap, unsigned int growBy);
    // A deep copy with the step of `o` and o's length rounded up to that step as capacity; m_empty when `o`
    // is empty. Required, do not mend: the step of `o` is written into m_empty itself, so that any string
    // which later grows out of m_empty has the step of the string copied last. The buffers of copied tokens
    // are sized so.
    SimpleString(const SimpleString& o);
    ~SimpleString() { Release(GetData()); }

    SimpleString& operator=(const SimpleString& o);
    SimpleString& operator=(const char* s) {
        Set(s);
        return *this;
    }
    SimpleString& operator=(char c) {
        Set(c);
        return *this;
    }

    // The record in use: its own, or m_empty. It stays the string's.
    [[nodiscard]] StringData* GetData() {
        return reinterpret_cast<StringData*>(m_psz - sizeof(StringDataBase));
    }
    [[nodiscard]] const StringData* GetData() const {
        return reinterpret_cast<const StringData*>(m_psz - sizeof(StringDataBase));
    }

    // Length and capacity.
    [[nodiscard]] unsigned int GetLength() const { return GetData()->m_cbData; }
    [[nodiscard]] unsigned int GetSize() const { return GetData()->m_cbSize; }
    [[nodiscard]] bool IsEmpty() const { return GetLength() == 0; }

    // The text: never null, NUL-terminated, good until the string is changed or destroyed.
    [[nodiscard]] const char* cstr() const { return c_str(); }
    [[nodiscard]] const char* c_str() const {
        if (m_psz == nullptr) {
            __builtin_unreachable();  // or gcc 12 takes a dictionary's test for null as a sign that it may be
        }
        return m_psz;
    }
    operator const char*() const { return m_psz; }

    // The decimal number with which the text begins, as strtoul reads it; 0 when there is none. Explicit, so
    // that a string in a condition or a sum is never taken for a number.
    explicit operator unsigned long() const;

    // Sets the length to 0; the capacity stays.
    void Empty() {
        StringData* data = GetData();
        if (data->m_cbData != 0) {
            data->m_cbData = 0;
            m_psz[0] = '\0';
        }
    }

    // Sets the growth step. Required, do not mend: an empty string gets a fresh record of capacity 0 and step
    // `n`, and its old record is not freed, so that a pointer to the empty text taken before stays good.
    void SetGrowBy(unsigned int n);

    // Re-allocates with the capacity raised by `n`, rounded up to the growth step.
    [[gnu::cold]] void GrowStringBy(unsigned int n);

    // Appends one byte. A full string grows by one step.
    void Append(char c) {
        if (GetLength() >= GetSize()) {
            GrowStringBy(1);
        }
        StringData* data = GetData();
        char* end = data->GetData() + data->m_cbData;
        ++data->m_cbData;
        end[0] = c;
        end[1] = '\0';
    }

    // Appends `c` once. A full string grows by `n` bytes rounded up to the step, as room for what the caller
    // will append next. n must be at least 1: n = 0 grows nothing, so that a full string stays as it is.
    void Append2(char c, unsigned int n);

    // Appends `n` bytes of `s`, or all of it when n = 0. A null or empty `s` adds nothing, whatever `n` is.
    void Append(const char* s, unsigned int n = 0);

    // Appends all bytes of `o`, also those behind a NUL.
    void Append(const SimpleString& o);

    // Appends `v` in decimal.
    void AppendNum(unsigned long long v);

    // Replaces the contents, as Empty() and Append() with the same arguments. Setting a string from its own
    // buffer, that is with s == c_str(), changes nothing, whatever `n` is.
    void Set(char c);
    void Set(const char* s, unsigned int n = 0);
    // Required, do not mend: setting a string from itself leaves it empty. (Assignment leaves it as it is.)
    void Set(const SimpleString& o);

    // Replaces the contents with `v` in decimal.
    template <typename Int>
    void SetNum(Int v) {
        Empty();
        *this << +v;  // a char is a number here
    }

    // A buffer of the string's own with room for at least `n` bytes and a NUL, holding the text so
    // far. It is the string's and good until the next change. Call ReleaseBuffer() after writing to it.
    char* GetBuffer(unsigned int n);

    // Takes over what was written to the buffer: n < 0: up to the first NUL; n >= 0: up to the first NUL, but
    // at most `n` bytes. Never more than the capacity.
    void ReleaseBuffer(int n = -1);

    // The byte at index `i`; a negative index counts from the end. 0 outside the string.
    unsigned char operator[](int i) const;

    // Index of the first or last `c`, or -1. The search ends at the first NUL, which itself can be found.
    [[nodiscard]] int Find(char c) const;
    [[nodiscard]] int FindRev(char c) const;

    [[nodiscard]] bool StartsWith(
        const char* s) const;  // every string starts and ends with ""; none with null
    [[nodiscard]] bool EndsWith(const char* s) const;
    [[nodiscard]] bool EndWith(const char* s) const { return EndsWith(s); }

    // Parts of the string, as new strings of exactly the capacity needed. A negative `start`, `count` or `n`
    // is taken as 0; what lies beyond the end is cut off.
    [[nodiscard]] SimpleString Mid(int start) const;
    [[nodiscard]] SimpleString Mid(int start, int count) const;
    [[nodiscard]] SimpleString Left(int n) const;
    [[nodiscard]] SimpleString Right(int n) const;

    // A copy with every byte converted by toupper or tolower.
    [[nodiscard]] SimpleString ToUpper() const;
    [[nodiscard]] SimpleString ToLower() const;

    // Required, do not mend: these convert the first byte again and again until it is 0 and never advance, so
    // on a string that is not empty they do not return. Nothing calls them; use ToUpper() and ToLower().
    void MakeUpper();
    void MakeLower();

    // Reverses the text up to its first NUL in place.
    void MakeReverse();

    // Remove the run of tabs, line feeds, carriage returns and blanks at the end, at the start, or both. No
    // other byte counts as white space, a vertical tab neither.
    void TrimRight();
    void TrimLeft();
    void Trim();

    // Comparisons of texts up to the first NUL, as strcmp, or strcasecmp without case. The same pointer is
    // equal to itself, null to null alone.
    [[nodiscard]] static bool Eq(const char* a, const char* b);
    [[nodiscard]] static bool EqNoCase(const char* a, const char* b);
    [[nodiscard]] bool EqNoCase(const char* s) const { return EqNoCase(m_psz, s); }
    [[nodiscard]] bool EqNoCase(const SimpleString& o) const { return EqNoCase(m_psz, o.m_psz); }

    bool operator==(const char* s) const { return Eq(m_psz, s); }
    bool operator==(const SimpleString& o) const { return Eq(m_psz, o.m_psz); }
    bool operator!=(const char* s) const { return !(*this == s); }
    bool operator!=(const SimpleString& o) const { return !(*this == o); }
    friend bool operator==(const char* a, const SimpleString& b) { return b == a; }
    friend bool operator!=(const char* a, const SimpleString& b) { return b != a; }

    // Order by strcmp; a string of length 0 sorts before every other.
    bool operator<(const SimpleString& o) const;
    bool operator>(const SimpleString& o) const { return o < *this; }
    bool operator<=(const SimpleString& o) const { return !(*this > o); }
    bool operator>=(const SimpleString& o) const { return !(*this < o); }

    // Compares without case as far as both texts go: below 0, 0 or above 0 at the first difference, and 0 as
    // soon as either text ends. Required, do not mend: it tells whether one text abbreviates the other, so ""
    // matches everything. Null sorts first.
    [[nodiscard]] static int cmpni(const char* a, const char* b);

    // Append; numbers are appended in decimal.
    SimpleString& operator+=(const SimpleString& o) {
        Append(o);
        return *this;
    }
    SimpleString& operator+=(const char* s) {
        Append(s);
        return *this;
    }
    SimpleString& operator+=(char c) {
        Append(c);
        return *this;
    }
    SimpleString& operator<<(const SimpleString& o) { return *this += o; }
    SimpleString& operator<<(const char* s) { return *this += s; }
    SimpleString& operator<<(char c) { return *this += c; }
    template <typename Int, std::enable_if_t<std::is_integral_v<Int>, int> = 0>
    SimpleString& operator<<(Int v) {
        auto magnitude = static_cast<unsigned long long>(v);
        if (v < Int{0}) {
            Append('-');
            magnitude = 0 - magnitude;
        }
        AppendNum(magnitude);
        return *this;
    }

    // A new string of both operands. A number is no operand: it would be taken for a byte.
    template <typename T>
    SimpleString operator+(const T& o) const {
        static_assert(!std::is_arithmetic_v<T> || std::is_same_v<T, char>, "append numbers with operator<<");
        SimpleString sum(*this);
        sum += o;
        return sum;
    }
    friend SimpleString operator+(const char* a, const SimpleString& b) { return SimpleString(a) + b; }

    // Replace the contents with the text formatted as by printf. No argument may point into this string.
    // Should the C library refuse the format, the text is whatever it left behind.
    [[gnu::format(printf, 2, 3)]] void Format(const char* fmt, ...);
    [[gnu::format(printf, 3, 0)]] void FormatArgs(va_list args, const char* fmt);

    // A new string of step 32 on the heap with the formatted text. The caller owns and deletes it.
    [[nodiscard, gnu::format(printf, 1, 2)]] static SimpleString* FormatNew(const char* fmt, ...);

    // Replaces `out` with a form of `src` for diagnostics, between double quotes: an inner double quote gets
    // a backslash in front, a carriage return becomes \r, any other byte that does not print becomes \x and
    // two hex digits, and after \n for a line feed the quotes are closed and opened again on a new line.
    // Required: a backslash is copied as it is, so that quoted command lines read as they were sent.
    static void QuoteString(const char* src, SimpleString& out);
    void QuoteString(SimpleString& out) const { QuoteString(m_psz, out); }

private:
    static void Release(StringData* data) {
        if (data != &m_empty) {
            StringData::Destroy(data);
        }
    }

    // A new record of capacity `cap` and step `growBy`.
    static StringData* CreateRecord(std::uint32_t cap, std::uint32_t growBy);

    // Moves the text into a new record with the capacity raised by `n`, rounded up to the step. Returns the
    // old record, for the caller to Release().
    StringData* Regrow(std::uint64_t n);

    void AppendBytes(const char* s, std::uint32_t n);
    void Truncate(std::uint32_t n);

    char* m_psz;
};
