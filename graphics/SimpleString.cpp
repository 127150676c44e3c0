#include "graphics/SimpleString.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

// m_empty must be zero before any string is built, also a static one of another file, so it may need no code.
static_assert(std::is_trivial_v<SimpleString::StringData>);
static_assert(sizeof(SimpleString::StringDataBase) == 12, "three 32-bit fields stand in front of the text");
static_assert(sizeof(SimpleString) == sizeof(char*), "a string is one pointer wide");

SimpleString::StringData SimpleString::m_empty;

namespace {

// Keeps the size of a block within 32 bits, and so within size_t on every host.
constexpr std::uint32_t kMaxCapacity =
    std::numeric_limits<std::uint32_t>::max() - sizeof(SimpleString::StringData);

// `n` rounded up to a multiple of the record's growth step; 0 stays 0.
std::uint64_t roundUpToStep(const SimpleString::StringDataBase& data, std::uint64_t n) {
    const std::uint64_t step = data.m_cbGrowBy != 0 ? data.m_cbGrowBy : SimpleString::kDefaultStep;
    return (n / step + (n % step != 0 ? 1 : 0)) * step;
}

bool isTrimmed(char c) {
    return c == '\t' || c == '\n' || c == '\r' || c == ' ';
}

int upper(char c) {
    return std::toupper(static_cast<unsigned char>(c));
}

// The access is volatile because an endless loop without any effect would be undefined behaviour.
void convertFirstByteForever(char* text, int (*convert)(int)) {
    volatile char* first = text;
    while (*first != '\0') {
        *first = static_cast<char>(convert(static_cast<unsigned char>(*first)));
    }
}

SimpleString converted(const SimpleString& source, int (*convert)(int)) {
    SimpleString result(source.GetLength(), SimpleString::kDefaultStep);
    std::for_each(source.c_str(), source.c_str() + source.GetLength(),
                  [&](char c) { result.Append(static_cast<char>(convert(static_cast<unsigned char>(c)))); });
    return result;
}

std::uint32_t length32(const char* s) {
    return static_cast<std::uint32_t>(std::strlen(s));
}

}  // namespace

SimpleString::StringData* SimpleString::StringData::Create(std::uint32_t cap) {
    if (cap > kMaxCapacity) {
        throw std::bad_alloc();
    }
    // A short text still needs the block of a whole record, which ends in padding.
    const std::size_t bytes = std::max(sizeof(StringData), sizeof(StringDataBase) + cap + 1);
    auto* data = ::new (::operator new(bytes)) StringData{};
    data->m_cbSize = cap;
    return data;
}

void SimpleString::StringData::Destroy(StringData* data) {
    ::operator delete(data);
}

SimpleString::StringData* SimpleString::CreateRecord(std::uint32_t cap, std::uint32_t growBy) {
    StringData* data = StringData::Create(cap);
    data->m_cbGrowBy = growBy;
    return data;
}

SimpleString::SimpleString() : m_psz(CreateRecord(0, kDefaultStep)->GetData()) {}

SimpleString::SimpleString(const char* s) : m_psz(m_empty.GetData()) {
    if (s != nullptr) {
        const std::uint32_t n = length32(s);
        m_psz = CreateRecord(n, kDefaultStep)->GetData();
        AppendBytes(s, n);
    }
}

SimpleString::SimpleString(const char* s, unsigned int n) : m_psz(m_empty.GetData()) {
    if (s != nullptr && n != 0) {
        m_psz = CreateRecord(n, kDefaultStep)->GetData();
        AppendBytes(s, n);
    }
}

SimpleString::SimpleString(unsigned int cap, unsigned int growBy)
    : m_psz(CreateRecord(cap, growBy == kStepIsCapacity ? cap : growBy)->GetData()) {}

SimpleString::SimpleString(const SimpleString& o) : m_psz(m_empty.GetData()) {
    m_empty.m_cbGrowBy = o.GetData()->m_cbGrowBy;
    Append(o);
}

SimpleString& SimpleString::operator=(const SimpleString& o) {
    if (this != &o) {
        Set(o);
    }
    return *this;
}

SimpleString::operator unsigned long() const {
    return std::strtoul(m_psz, nullptr, 10);
}

void SimpleString::SetGrowBy(unsigned int n) {
    if (IsEmpty()) {
        m_psz = CreateRecord(0, n)->GetData();
    } else {
        GetData()->m_cbGrowBy = n;
    }
}

SimpleString::StringData* SimpleString::Regrow(std::uint64_t n) {
    StringData* old = GetData();
    const std::uint64_t cap = old->m_cbSize + roundUpToStep(*old, n);
    const auto cap32 =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(cap, std::numeric_limits<std::uint32_t>::max()));
    StringData* data = CreateRecord(cap32, old->m_cbGrowBy);
    data->m_cbData = old->m_cbData;
    std::memcpy(data->GetData(), old->GetData(), std::size_t{old->m_cbData} + 1);
    m_psz = data->GetData();
    return old;
}

void SimpleString::GrowStringBy(unsigned int n) {
    Release(Regrow(n));
}

void SimpleString::Append2(char c, unsigned int n) {
    if (GetLength() >= GetSize()) {
        GrowStringBy(n);
    }
    if (GetLength() < GetSize()) {
        Append(c);
    }
}

void SimpleString::AppendBytes(const char* s, std::uint32_t n) {
    const std::uint64_t length = std::uint64_t{GetLength()} + n;
    // The old record is freed last: `s` may point into it.
    StringData* old = length > GetSize() ? Regrow(length - GetSize()) : nullptr;
    StringData* data = GetData();
    std::memmove(data->GetData() + data->m_cbData, s, n);
    Truncate(static_cast<std::uint32_t>(length));
    if (old != nullptr) {
        Release(old);
    }
}

void SimpleString::Truncate(std::uint32_t n) {
    GetData()->m_cbData = n;
    m_psz[n] = '\0';
}

void SimpleString::Append(const char* s, unsigned int n) {
    if (s != nullptr && *s != '\0') {
        AppendBytes(s, n != 0 ? n : length32(s));
    }
}

void SimpleString::Append(const SimpleString& o) {
    if (!o.IsEmpty()) {
        AppendBytes(o.m_psz, o.GetLength());
    }
}

void SimpleString::AppendNum(unsigned long long v) {
    SimpleString digits(64, 64);
    do {
        digits.Append(static_cast<char>('0' + v % 10));
        v /= 10;
    } while (v != 0);
    digits.MakeReverse();
    Append(digits);
}

void SimpleString::Set(char c) {
    Empty();
    Append(c);
}

void SimpleString::Set(const char* s, unsigned int n) {
    if (s == m_psz) {
        return;
    }
    Empty();  // writes byte 0 alone, so a text further inside this string survives it
    Append(s, n);
}

void SimpleString::Set(const SimpleString& o) {
    Empty();
    Append(o);
}

char* SimpleString::GetBuffer(unsigned int n) {
    if (GetSize() <= n) {
        GrowStringBy(n - GetSize());
    }
    return m_psz;
}

void SimpleString::ReleaseBuffer(int n) {
    const unsigned int size = GetSize();
    const unsigned int limit = n < 0 ? size : std::min(static_cast<unsigned int>(n), size);
    Truncate(static_cast<std::uint32_t>(::strnlen(m_psz, limit)));
}

unsigned char SimpleString::operator[](int i) const {
    const std::int64_t length = GetLength();
    const std::int64_t index = i < 0 ? i + length : i;
    return index < 0 || index >= length ? 0 : static_cast<unsigned char>(m_psz[index]);
}

int SimpleString::Find(char c) const {
    const char* hit = std::strchr(m_psz, c);
    return hit != nullptr ? static_cast<int>(hit - m_psz) : -1;
}

int SimpleString::FindRev(char c) const {
    const char* hit = std::strrchr(m_psz, c);
    return hit != nullptr ? static_cast<int>(hit - m_psz) : -1;
}

bool SimpleString::StartsWith(const char* s) const {
    return s != nullptr && std::strncmp(m_psz, s, std::strlen(s)) == 0;
}

bool SimpleString::EndsWith(const char* s) const {
    const std::size_t n = s != nullptr ? std::strlen(s) : 0;
    return s != nullptr && n <= GetLength() && std::memcmp(m_psz + GetLength() - n, s, n) == 0;
}

SimpleString SimpleString::Mid(int start) const {
    return Mid(start, std::numeric_limits<int>::max());
}

SimpleString SimpleString::Mid(int start, int count) const {
    const unsigned int from = std::min(static_cast<unsigned int>(std::max(start, 0)), GetLength());
    const unsigned int most = GetLength() - from;
    return SimpleString(m_psz + from, std::min(static_cast<unsigned int>(std::max(count, 0)), most));
}

SimpleString SimpleString::Left(int n) const {
    return Mid(0, n);
}

SimpleString SimpleString::Right(int n) const {
    const unsigned int count = std::min(static_cast<unsigned int>(std::max(n, 0)), GetLength());
    return SimpleString(m_psz + (GetLength() - count), count);
}

SimpleString SimpleString::ToUpper() const {
    return converted(*this, &std::toupper);
}

SimpleString SimpleString::ToLower() const {
    return converted(*this, &std::tolower);
}

void SimpleString::MakeUpper() {
    convertFirstByteForever(m_psz, &std::toupper);
}

void SimpleString::MakeLower() {
    convertFirstByteForever(m_psz, &std::tolower);
}

void SimpleString::MakeReverse() {
    std::reverse(m_psz, m_psz + std::strlen(m_psz));
}

void SimpleString::TrimRight() {
    std::uint32_t n = GetLength();
    while (n > 0 && isTrimmed(m_psz[n - 1])) {
        --n;
    }
    Truncate(n);
}

void SimpleString::TrimLeft() {
    const char* end = m_psz + GetLength();
    const char* rest = std::find_if_not(static_cast<const char*>(m_psz), end, &isTrimmed);
    std::memmove(m_psz, rest, static_cast<std::size_t>(end - rest));
    Truncate(static_cast<std::uint32_t>(end - rest));
}

void SimpleString::Trim() {
    TrimRight();
    TrimLeft();
}

bool SimpleString::Eq(const char* a, const char* b) {
    return a == b || (a != nullptr && b != nullptr && std::strcmp(a, b) == 0);
}

bool SimpleString::EqNoCase(const char* a, const char* b) {
    return a == b || (a != nullptr && b != nullptr && ::strcasecmp(a, b) == 0);
}

bool SimpleString::operator<(const SimpleString& o) const {
    if (IsEmpty() || o.IsEmpty()) {
        return IsEmpty() && !o.IsEmpty();
    }
    return std::strcmp(m_psz, o.m_psz) < 0;
}

int SimpleString::cmpni(const char* a, const char* b) {
    if (a == b) {
        return 0;
    }
    if (a == nullptr || b == nullptr) {
        return a == nullptr ? -1 : 1;
    }
    for (; *a != '\0' && *b != '\0'; ++a, ++b) {
        const int difference = upper(*a) - upper(*b);
        if (difference != 0) {
            return difference;
        }
    }
    return 0;
}

void SimpleString::Format(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    FormatArgs(args, fmt);
    va_end(args);
}

void SimpleString::FormatArgs(va_list args, const char* fmt) {
    va_list measured;
    va_copy(measured, args);
    const int n = std::vsnprintf(nullptr, 0, fmt, measured);
    va_end(measured);
    char* buffer = GetBuffer(static_cast<unsigned int>(n) + 1);
    std::vsnprintf(buffer, std::size_t{GetSize()} + 1, fmt, args);
    ReleaseBuffer(n);
}

SimpleString* SimpleString::FormatNew(const char* fmt, ...) {
    auto* text = new SimpleString;
    va_list args;
    va_start(args, fmt);
    text->FormatArgs(args, fmt);
    va_end(args);
    return text;
}

void SimpleString::QuoteString(const char* src, SimpleString& out) {
    bool closed = false;
    out.Set('"');
    for (; *src != '\0'; ++src) {
        const auto byte = static_cast<unsigned char>(*src);
        if (std::isprint(byte) != 0) {
            if (byte == '"') {
                out.Append('\\');
            }
            out.Append(*src);
        } else if (byte == '\n') {
            closed = src[1] == '\0';
            out.Append(closed ? "\\n\"" : "\\n\"\n\"");
        } else if (byte == '\r') {
            out.Append("\\r");
        } else {
            std::array<char, sizeof("\\xff")> escape{};
            std::snprintf(escape.data(), escape.size(), "\\x%02x", byte);
            out.Append(escape.data());
        }
    }
    if (!closed) {
        out.Append('"');
    }
}
