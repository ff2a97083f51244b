// Random (version 4) UUIDs from getrandom, and the text form done here: glibc has no UUID
// functions of its own.
#include "platform/uuid.h"

#include <pthread.h>
#include <sys/random.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace qel::platform {
namespace {

// Random bytes are fetched in blocks: one system call per UUID would cost more than the
// rest of the work. A fork bumps the generation, so parent and child never share a block.
std::atomic<unsigned> fork_generation{0};

void note_fork() {
    fork_generation.fetch_add(1, std::memory_order_relaxed);
}

struct random_block {
    unsigned char bytes[512];
    std::size_t used = sizeof bytes;
    unsigned generation = 0;

    bool take(unsigned char* out, std::size_t count) {
        const unsigned now = fork_generation.load(std::memory_order_relaxed);
        if (generation != now || used + count > sizeof bytes) {
            if (!fill())
                return false;
            generation = now;
        }
        std::memcpy(out, bytes + used, count);
        // Bytes handed out are not kept in memory.
        std::memset(bytes + used, 0, count);
        used += count;
        return true;
    }

    bool fill() {
        std::size_t got = 0;
        while (got < sizeof bytes) {
            const ssize_t n = ::getrandom(bytes + got, sizeof bytes - got, 0);
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                used = sizeof bytes;
                return false;
            }
            got += static_cast<std::size_t>(n);
        }
        used = 0;
        return true;
    }
};

const bool fork_watch_installed = ::pthread_atfork(nullptr, nullptr, note_fork) == 0;

// Both digits of every byte value, so that a byte costs one lookup.
constexpr auto hex_pairs = [] {
    std::array<char, 512> pairs{};
    constexpr char digits[] = "0123456789abcdef";
    for (int b = 0; b < 256; ++b) {
        pairs[static_cast<std::size_t>(2 * b)] = digits[b >> 4];
        pairs[static_cast<std::size_t>(2 * b + 1)] = digits[b & 15];
    }
    return pairs;
}();
// The byte index behind each pair of digits: data1..data3 are little-endian numbers printed
// most significant first; data4 is printed in memory order.
constexpr int digit_bytes[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
// Where each byte's two digits start in the text.
constexpr int text_offsets[16] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

template <class Char> void format(const uuid_bytes& bytes, Char (&text)[36]) {
    for (int i = 0; i < 16; ++i) {
        const std::size_t b = bytes[digit_bytes[i]];
        text[text_offsets[i]] = static_cast<Char>(hex_pairs[2 * b]);
        text[text_offsets[i] + 1] = static_cast<Char>(hex_pairs[2 * b + 1]);
    }
    text[8] = text[13] = text[18] = text[23] = static_cast<Char>('-');
}

template <class Char> int digit_value(Char c) {
    const auto u = static_cast<std::make_unsigned_t<Char>>(c);
    if (u >= '0' && u <= '9')
        return static_cast<int>(u - '0');
    const auto lower = u | 0x20u;
    if (lower >= 'a' && lower <= 'f')
        return static_cast<int>(lower - 'a' + 10);
    return -1;
}

template <class Char> bool parse(std::basic_string_view<Char> text, uuid_bytes& bytes) {
    // The text ends at its first NUL, as a C string handed to UuidFromString does.
    text = text.substr(0, text.find(Char{}));
    if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' ||
        text[23] != '-')
        return false;
    uuid_bytes parsed;
    for (int i = 0; i < 16; ++i) {
        const auto at = static_cast<std::size_t>(text_offsets[i]);
        const int high = digit_value(text[at]);
        const int low = digit_value(text[at + 1]);
        if ((high | low) < 0)
            return false;
        parsed[digit_bytes[i]] = static_cast<unsigned char>(high << 4 | low);
    }
    std::memcpy(bytes, parsed, sizeof parsed);
    return true;
}

} // namespace

void new_uuid(uuid_bytes& bytes) {
    thread_local random_block block;
    (void)fork_watch_installed;
    if (!block.take(bytes, sizeof bytes))
        return;
    bytes[7] = static_cast<unsigned char>((bytes[7] & 0x0F) | 0x40); // version 4 (data3)
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80); // variant 10xx
}

bool uuid_text(const uuid_bytes& bytes, wchar_t (&text)[36]) {
    format(bytes, text);
    return true;
}

bool uuid_text(const uuid_bytes& bytes, char (&text)[36]) {
    format(bytes, text);
    return true;
}

bool parse_uuid(std::wstring_view text, uuid_bytes& bytes) {
    return parse(text, bytes);
}

bool parse_uuid(std::string_view text, uuid_bytes& bytes) {
    return parse(text, bytes);
}

} // namespace qel::platform
