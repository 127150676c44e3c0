// What every fuzz target has: its entry, values out of its input, and a check that ends the process.
//
// A target is one function. With libFuzzer (preset "fuzz") it is called with inputs that are searched for; in
// every other build replay.cpp calls it with the files of its corpus.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Runs one input. Returns 0, or -1 for an input that is not worth keeping. What it finds ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the process, naming the rule, when it does not hold.
inline void require(bool holds, const char* rule) {
    if (!holds) {
        ::dprintf(STDERR_FILENO, "Does not hold: %s\n", rule);
        std::abort();
    }
}

// Hands out the input's bytes from the first to the last; zeros and empty texts when they are used up.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : m_next(data), m_left(size) {}

    [[nodiscard]] bool isEmpty() const { return m_left == 0; }

    std::uint8_t byte() {
        if (m_left == 0) {
            return 0;
        }
        --m_left;
        return *m_next++;
    }
    // Little-endian.
    std::uint16_t half() {
        const unsigned low = byte();
        return static_cast<std::uint16_t>(low | static_cast<unsigned>(byte()) << 8);
    }
    std::uint32_t word() {
        const std::uint32_t low = half();
        return low | static_cast<std::uint32_t>(half()) << 16;
    }
    // Near 0, where pictures are, for most inputs; any value for some.
    std::int32_t coordinate() {
        const std::uint8_t first = byte();
        return first == 0xFF ? static_cast<std::int32_t>(word()) : std::int32_t{first} - 64;
    }
    // A length and as many bytes, whatever they are.
    std::string bytes() {
        const std::size_t length = byte();
        return take(length);
    }
    // The same up to the first NUL.
    std::string text() { return untilNul(bytes()); }
    std::string rest() { return take(m_left); }
    std::string restAsText() { return untilNul(rest()); }

private:
    std::string take(std::size_t length) {
        const std::size_t taken = length < m_left ? length : m_left;
        std::string all(reinterpret_cast<const char*>(m_next), taken);
        m_next += taken;
        m_left -= taken;
        return all;
    }
    static std::string untilNul(std::string text) {
        text.resize(text.find('\0') < text.size() ? text.find('\0') : text.size());
        return text;
    }

    const std::uint8_t* m_next;
    std::size_t m_left;
};
