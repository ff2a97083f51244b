#include "compress/lzm_block.h"
#include "compress/compress_messages.h"

#include <qel/exception.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <type_traits>

namespace qel::detail {
namespace {

constexpr std::size_t max_literals = 63;
constexpr std::size_t hash_size = 4096;
// A payload exceeds its input only by one byte per literal run, and a literal run that is
// not full ends before a run or match of three or more bytes: at most about 1.27 times the
// input. Twice the input leaves room for the encoder's 16-byte literal copies as well.
constexpr std::size_t payload_capacity = 2 * lzm_block_input_limit + 64;

[[noreturn, gnu::cold, gnu::noinline]] void fail(const char* message) {
    throw compress_error(message, 0);
}

inline void copy16(char* to, const char* from) {
    char chunk[16];
    std::memcpy(chunk, from, 16);
    std::memcpy(to, chunk, 16);
}

// Appends a match (at most 34 bytes) with up to three 16-byte copies, which may run into the
// slack past the output; since len <= off, every byte copied comes from before `o`.
inline char* copy_match(char* o, std::size_t off, std::size_t len) {
    const char* from = o - off;
    copy16(o, from);
    if (len > 16) {
        copy16(o + 16, from + 16);
        if (len > 32)
            copy16(o + 32, from + 32);
    }
    return o + len;
}

// The same with 32 bytes always copied, which spares the branch on lengths of 17 to 32, a
// third of all matches in log files. Where offsets below 32 are common (binary data), the
// second chunk often reads bytes still being stored, which costs more than the branch.
inline char* copy_match_wide(char* o, std::size_t off, std::size_t len) {
    const char* from = o - off;
    char head[32];
    std::memcpy(head, from, 32);
    std::memcpy(o, head, 32);
    if (len > 32)
        copy16(o + 32, from + 32);
    return o + len;
}

inline void check(bool ok, const char* message) {
    if (!ok) [[unlikely]]
        fail(message);
}

inline lzm_choice_ select(std::size_t lit, std::size_t length, std::size_t offset) {
    check(lit <= max_literals, compress_messages::literal_run_too_long);
    check(length <= 34, compress_messages::match_too_long);
    check(offset <= 8191, compress_messages::offset_too_long);
    if (length < 3)
        return {0, false};
    if (lit == 0 && offset <= 4095 && length <= 6)
        return {2, false};
    if (offset <= 511 && length <= 10 && lit <= 3)
        return {1, false};
    if (lit <= 15)
        return {3, false};
    return {offset > 4095 || length > 6 ? 3 : 2, true};
}

inline std::size_t put_literals(char* out, const char* literals, std::size_t count) {
    check(count != 0, "LZM assert: 00 empty uncompressed seq");
    check(count <= max_literals, "LZM assert: 00 uncompressed seq to long");
    out[0] = static_cast<char>(count);
    std::memcpy(out + 1, literals, count);
    return count + 1;
}

inline std::size_t put_repeat(char* out, std::size_t lit, std::size_t count, unsigned char value) {
    check(lit == 0, "LZM assert: 00 not empty uncompressed seq");
    check(count <= 255, "LZM assert: 00 repeat seq too long");
    out[0] = 0;
    out[1] = static_cast<char>(count);
    out[2] = static_cast<char>(value);
    return 3;
}

// Writes the token bytes of a match that carries `lit` literals; the literals go right after
// them. Returns the number of token bytes.
inline std::size_t put_match_head(char* out, int kind, std::size_t lit, std::size_t len,
                                  std::size_t off, std::size_t position) {
    const std::size_t m = len - 3;
    std::size_t written;
    switch (kind) {
    case 1:
        check(lit < 4, "LZM assert: 01 uncompressed seq to long");
        check(len >= 3, "LZM assert: 01 match seq to short");
        check(len < 11, "LZM assert: 01 match seq to long");
        check(off < 512, "LZM assert: 01 offset to long");
        check(off <= position, "LZM assert: 01 offset out of block");
        out[0] = static_cast<char>(0x40 | lit << 4 | m << 1 | off >> 8);
        out[1] = static_cast<char>(off & 0xFF);
        written = 2;
        break;
    case 2:
        check(lit == 0, "LZM assert: 10 not empty uncompressed seq");
        check(len >= 3, "LZM assert: 10 match seq to short");
        check(len < 7, "LZM assert: 10 match seq to long");
        check(off < 4096, "LZM assert: 10 offset to long");
        check(off <= position, "LZM assert: 10 offset out of block");
        out[0] = static_cast<char>(0x80 | m << 4 | off >> 8);
        out[1] = static_cast<char>(off & 0xFF);
        written = 2;
        break;
    case 3:
        check(lit < 16, "LZM assert: 11 uncompressed seq to long");
        check(len >= 3, "LZM assert: 11 match seq to short");
        check(len < 35, "LZM assert: 11 match seq to long");
        check(off < 8192, "LZM assert: 11 offset to long");
        check(off <= position, "LZM assert: 11 offset out of block");
        out[0] = static_cast<char>(0xC0 | lit << 2 | m >> 3);
        out[1] = static_cast<char>(off >> 5);
        out[2] = static_cast<char>((off & 0x1F) << 3 | (m & 7));
        written = 3;
        break;
    default:
        fail(compress_messages::invalid_marker);
    }
    return written;
}

// Length of the common prefix of a and b, at most `limit`. Compares eight bytes at a time
// while `readable` (bytes that may be read from either pointer) allows.
inline std::size_t common_prefix(const unsigned char* a, const unsigned char* b, std::size_t limit,
                                 std::size_t readable) {
    std::size_t len = 0;
    while (len < limit) {
        if (readable - len < 8) {
            while (len < limit && a[len] == b[len])
                ++len;
            return len;
        }
        std::uint64_t x, y;
        std::memcpy(&x, a + len, 8);
        std::memcpy(&y, b + len, 8);
        if (const std::uint64_t diff = x ^ y) {
            std::size_t same;
            if constexpr (std::endian::native == std::endian::little)
                same = static_cast<std::size_t>(std::countr_zero(diff) >> 3);
            else
                same = static_cast<std::size_t>(std::countl_zero(diff) >> 3);
            return std::min(len + same, limit);
        }
        len += 8;
    }
    return limit;
}

} // namespace

lzm_choice_ lzm_select(std::size_t pending_literals, std::size_t length, std::size_t offset) {
    return select(pending_literals, length, offset);
}

std::size_t lzm_put_literals(char* out, const char* literals, std::size_t count) {
    return put_literals(out, literals, count);
}

std::size_t lzm_put_repeat(char* out, std::size_t pending_literals, std::size_t count,
                           unsigned char value) {
    return put_repeat(out, pending_literals, count, value);
}

std::size_t lzm_put_match(char* out, int kind, const char* literals, std::size_t literal_count,
                          std::size_t length, std::size_t offset, std::size_t position) {
    const std::size_t head = put_match_head(out, kind, literal_count, length, offset, position);
    if (literal_count != 0)
        std::memcpy(out + head, literals, literal_count);
    return head + literal_count;
}

lzm_block_encoder::lzm_block_encoder() : hash_table_(hash_size), payload_(payload_capacity) {}

namespace {

// Loads and stores of little-endian values: the first byte is the lowest on any machine.
inline std::uint32_t load32(const unsigned char* at) {
    if constexpr (std::endian::native == std::endian::little) {
        std::uint32_t word;
        std::memcpy(&word, at, 4);
        return word;
    } else {
        return std::uint32_t{at[0]} | std::uint32_t{at[1]} << 8 | std::uint32_t{at[2]} << 16 |
               std::uint32_t{at[3]} << 24;
    }
}

// Writes the four bytes of `word`, the low byte first.
inline void store32(char* at, std::uint32_t word) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(at, &word, 4);
    } else {
        for (int i = 0; i < 4; ++i)
            at[i] = static_cast<char>(word >> (8 * i) & 0xFF);
    }
}

inline std::uint32_t load24(const unsigned char* at) {
    return std::uint32_t{at[0]} | std::uint32_t{at[1]} << 8 | std::uint32_t{at[2]} << 16;
}

inline std::uint64_t load64(const unsigned char* at) {
    if constexpr (std::endian::native == std::endian::little) {
        std::uint64_t word;
        std::memcpy(&word, at, 8);
        return word;
    } else {
        std::uint64_t word = 0;
        for (int i = 7; i >= 0; --i)
            word = word << 8 | at[i];
        return word;
    }
}

// The two low bytes of v swapped.
inline std::uint32_t swap16(std::uint32_t v) {
    const auto low = static_cast<std::uint16_t>(v);
    return static_cast<std::uint16_t>(low << 8 | low >> 8);
}

// The table index of the three bytes in the low 24 bits of `seq`: b0 << 4 ^ b1 << 2 ^ b2.
inline std::size_t hash_of(std::uint32_t seq) {
    return (seq << 4 & 0xFF0) ^ (seq >> 6 & 0x3FC) ^ (seq >> 16 & 0xFF);
}

// The three low bytes of `seq` are all equal.
inline bool is_run(std::uint32_t seq) {
    return ((seq ^ seq >> 8) & 0xFFFF) == 0;
}

// Whether a run of three equal bytes starts at one of the first four bytes of `word`.
inline bool starts_run4(std::uint64_t word) {
    // Byte k of `diff` is zero where bytes k, k + 1 and k + 2 are equal.
    const std::uint64_t neighbours = word ^ word >> 8;
    const auto diff = static_cast<std::uint32_t>(neighbours | neighbours >> 8);
    return ((diff - 0x01010101) & ~diff & 0x80808080) != 0; // has a zero byte
}

// hash_of() for the positions 0..3 of an eight-byte word, computed in 16-bit lanes: one
// word for the even positions and one for the odd.
class hashes4 {
public:
    explicit hashes4(std::uint64_t word) {
        constexpr std::uint64_t lanes = 0x00FF00FF00FF00FF;
        const std::uint64_t even_bytes = word & lanes;
        const std::uint64_t odd_bytes = word >> 8 & lanes;
        // A lane holds one byte, so shifts by up to 16 bits move whole bytes between lanes
        // without mixing them.
        even_ = even_bytes << 4 ^ odd_bytes << 2 ^ even_bytes >> 16;
        odd_ = odd_bytes << 4 ^ even_bytes >> 14 ^ odd_bytes >> 16;
    }
    std::size_t operator[](unsigned k) const {
        return static_cast<std::size_t>(((k & 1) != 0 ? odd_ : even_) >> (16 * (k >> 1)) & 0xFFFF);
    }

private:
    std::uint64_t even_;
    std::uint64_t odd_;
};

// Length of the common prefix of a and b, at most 31, reading at most `readable` bytes from
// each.
inline std::size_t common_prefix31(const unsigned char* a, const unsigned char* b,
                                   std::size_t readable) {
    if (readable >= 32) {
        for (std::size_t len = 0; len < 32; len += 8) {
            // load64() puts the first byte lowest on any machine.
            if (const std::uint64_t diff = load64(a + len) ^ load64(b + len))
                return len + static_cast<std::size_t>(std::countr_zero(diff) >> 3);
        }
        return 31;
    }
    return common_prefix(a, b, std::min<std::size_t>(readable, 31), readable);
}

struct scan_result {
    std::size_t pos;
    std::size_t candidate; // the table entry pos replaced
};

// The steps of the encoder from pos while their bytes become literals: enters each position
// into the table and stops at the first one where a run starts or whose candidate has the
// same three bytes (the caller decides), or at `stop` (not entered). Positions before stop
// have four bytes left, those before group_stop eight.
inline scan_result scan_literals(const unsigned char* in, std::uint16_t* table, std::size_t pos,
                                 std::size_t stop, std::size_t group_stop) {
    for (;;) {
        // Four positions from one eight-byte load, when none of them starts a run.
        if (pos + 4 <= group_stop) {
            const std::uint64_t word = load64(in + pos);
            if (!starts_run4(word)) {
                const hashes4 hashes(word);
                std::size_t candidate;
                // Probes position pos + k; true if the candidate's bytes are the same.
                auto probe = [&](auto k) {
                    constexpr unsigned shift = 8 * decltype(k)::value;
                    const std::size_t h = hashes[k];
                    candidate = table[h];
                    table[h] = static_cast<std::uint16_t>(pos + k);
                    // candidate <= pos + k, so its four bytes lie within the input.
                    return ((load32(in + candidate) ^ static_cast<std::uint32_t>(word >> shift)) &
                            0xFFFFFF) == 0;
                };
                if (probe(std::integral_constant<unsigned, 0>{}))
                    return {pos, candidate};
                if (probe(std::integral_constant<unsigned, 1>{}))
                    return {pos + 1, candidate};
                if (probe(std::integral_constant<unsigned, 2>{}))
                    return {pos + 2, candidate};
                if (probe(std::integral_constant<unsigned, 3>{}))
                    return {pos + 3, candidate};
                pos += 4;
                continue;
            }
        }
        if (pos == stop)
            return {pos, 0};
        const std::uint32_t seq = load32(in + pos) & 0xFFFFFF;
        const std::size_t h = hash_of(seq);
        const std::size_t candidate = table[h];
        table[h] = static_cast<std::uint16_t>(pos);
        if ((load32(in + candidate) & 0xFFFFFF) == seq || is_run(seq))
            return {pos, candidate};
        ++pos;
    }
}

} // namespace

std::uint16_t lzm_block_encoder::encode(const char* input, std::size_t size) {
    // Offsets and table entries are 13-bit and 16-bit quantities.
    check(size <= lzm_block_input_limit, compress_messages::block_too_large);
    std::uint16_t* const table = hash_table_.data();
    // An entry of 0 stands for "no position" as well as for position 0, so no probe needs a
    // separate emptiness test: an empty entry's bytes (those at 0) can only equal the current
    // three bytes if their hash is the current one, and then position 0 did fill this entry.
    std::fill_n(table, hash_size, std::uint16_t{0});

    const auto* const in = reinterpret_cast<const unsigned char*>(input);
    const std::size_t n = size;
    char* const begin = payload_.data();
    char* out = begin;
    std::size_t pos = 0;
    // Pending literals are always the input bytes [anchor, pos), so they are copied straight
    // from the input when emitted.
    std::size_t anchor = 0;
    auto flush_literals = [&] {
        out += put_literals(out, input + anchor, pos - anchor);
        anchor = pos;
    };

    const std::size_t fast_end = n > 3 ? n - 3 : 0;  // positions with four bytes left
    const std::size_t group_end = n > 7 ? n - 7 : 0; // positions with eight bytes left
    while (pos + 2 < n) {
        // Literals: the common case, in a tight loop that stops where a run or a match may
        // start.
        const scan_result found = scan_literals(in, table, pos, fast_end, group_end);
        pos = found.pos;
        // The scan runs past full literal runs: the positions it passes are literals whatever
        // the runs, so the runs of 63 go out now, as stepping one position at a time would
        // have emitted them.
        while (pos - anchor > max_literals) {
            out += put_literals(out, input + anchor, max_literals);
            anchor += max_literals;
        }
        std::size_t candidate = found.candidate;
        std::uint32_t seq;
        bool same; // the candidate's three bytes are seq
        if (pos != fast_end) {
            seq = load32(in + pos) & 0xFFFFFF;
            same = (load32(in + candidate) & 0xFFFFFF) == seq;
        } else {
            // The step the scan leaves out: the last three bytes.
            if (pos + 2 >= n)
                break;
            seq = load24(in + pos);
            const std::size_t h = hash_of(seq);
            candidate = table[h];
            table[h] = static_cast<std::uint16_t>(pos);
            same = load24(in + candidate) == seq;
        }

        if (is_run(seq)) {
            const unsigned char value = in[pos];
            const std::size_t limit = std::min<std::size_t>(255, n - pos);
            std::size_t count = 3;
            while (count < limit && in[pos + count] == value)
                ++count;
            if (pos != anchor)
                flush_literals();
            out += put_repeat(out, 0, count, value);
            pos += count;
            anchor = pos;
            continue;
        }

        // Below three equal bytes select() always answers "literal", so a candidate less than
        // three bytes back (or the empty entry at position 0) is no match.
        if (same && candidate + 3 <= pos) {
            const std::size_t offset = pos - candidate;
            // Both ranges lie within the input, the candidate's before the current one; the
            // common prefix may run past pos, as only its minimum with the offset counts.
            const std::size_t len = std::min(
                3 + common_prefix31(in + candidate + 3, in + pos + 3, n - pos - 3), offset);
            std::size_t lit = pos - anchor;
            if (lit <= 15 && len <= 34 && offset <= pos && offset <= 8191) {
                // The common case: select() needs no flush, and with the limits above every
                // check of the token writers holds for the token its rules pick. Tokens are
                // stored as four bytes; the payload buffer has the room, and the literals or
                // the next token overwrite the excess.
                const auto m = static_cast<std::uint32_t>(len - 3);
                const auto off = static_cast<std::uint32_t>(offset);
                const auto l = static_cast<std::uint32_t>(lit);
                if (l == 0 && off <= 4095 && m <= 3) {
                    store32(out, 0x80 | m << 4 | swap16(off));
                    out += 2;
                } else if (off <= 511 && m <= 7 && l <= 3) {
                    store32(out, 0x40 | l << 4 | m << 1 | swap16(off));
                    out += 2;
                } else {
                    store32(out, 0xC0 | l << 2 | m >> 3 | (off >> 5) << 8 |
                                     ((off & 0x1F) << 3 | (m & 7)) << 16);
                    out += 3;
                }
            } else {
                const lzm_choice_ choice = select(lit, len, offset);
                if (choice.flush_literals)
                    flush_literals();
                lit = pos - anchor;
                out += put_match_head(out, choice.kind, lit, len, offset, pos);
            }
            // At most 15 literals: one 16-byte copy when the input allows, the payload buffer
            // has the room.
            if (anchor + 16 <= n)
                copy16(out, input + anchor);
            else if (lit != 0)
                std::memcpy(out, input + anchor, lit);
            out += lit;
            pos += len;
            anchor = pos;
            continue;
        }

        if (pos - anchor == max_literals)
            flush_literals();
        ++pos;
    }

    // The last one or two bytes cannot start a run or a match.
    while (pos < n) {
        if (pos - anchor == max_literals)
            flush_literals();
        ++pos;
    }
    if (pos != anchor)
        flush_literals();
    check(pos == n, compress_messages::compress_size_mismatch);

    length_ = static_cast<std::size_t>(out - begin);
    return static_cast<std::uint16_t>(length_);
}

namespace {

// Decoding fault: the block's bytes decoded so far stay appended.
[[noreturn, gnu::cold, gnu::noinline]] void fail_decode(std::vector<char>& out, std::size_t keep,
                                                        const char* message) {
    out.resize(keep);
    throw compress_error(message, 0);
}

// Fields of a match token by its first byte, so that the token's kind needs no branch:
// bits 0..7 literal count, 8..15 token size, 16..23 length (kind "11": its high part),
// 24..31 mask of the third byte's length bits, 32..39 offset bits 11..8 (kinds "01" and
// "10"), 40..47 shift of the second byte within the offset, 48..55 mask of the third
// byte's offset bits.
constexpr std::array<std::uint64_t, 256> match_fields = [] {
    std::array<std::uint64_t, 256> fields{};
    for (std::uint64_t t = 0x40; t < 0x100; ++t) {
        std::uint64_t lit, size, len, len_mask = 0, high, shift = 0, low_mask = 0;
        if (t < 0x80) {
            lit = (t >> 4) & 3;
            size = 2;
            len = ((t >> 1) & 7) + 3;
            high = t & 1;
        } else if (t < 0xC0) {
            lit = 0;
            size = 2;
            len = ((t >> 4) & 3) + 3;
            high = t & 0x0F;
        } else {
            lit = (t >> 2) & 0x0F;
            size = 3;
            len = ((t & 3) << 3) + 3;
            len_mask = 7;
            high = 0;
            shift = 5;
            low_mask = 0x1F;
        }
        fields[t] = lit | size << 8 | len << 16 | len_mask << 24 | high << 32 | shift << 40 |
                    low_mask << 48;
    }
    return fields;
}();

// Token size plus carried literals by first byte, kept apart from match_fields: the next
// token's position is the decoder's longest dependency chain.
constexpr std::array<std::uint8_t, 256> advance = [] {
    std::array<std::uint8_t, 256> sizes{};
    for (std::size_t t = 0x40; t < 0x100; ++t)
        sizes[t] =
            static_cast<std::uint8_t>((match_fields[t] & 0xFF) + (match_fields[t] >> 8 & 0xFF));
    return sizes;
}();

// Reads the operand bytes of a match token whose first byte is `t`; false when the payload
// ends first.
bool read_match(unsigned t, const unsigned char*& p, const unsigned char* end, std::size_t& lit,
                std::size_t& len, std::size_t& off) {
    if (p == end)
        return false;
    const unsigned b = *p++;
    switch (t >> 6) {
    case 1:
        lit = (t >> 4) & 3;
        len = ((t >> 1) & 7) + 3;
        off = (t & 1) << 8 | b;
        return true;
    case 2:
        lit = 0;
        len = ((t >> 4) & 3) + 3;
        off = (t & 0x0F) << 8 | b;
        return true;
    default: {
        if (p == end)
            return false;
        const unsigned b2 = *p++;
        lit = (t >> 2) & 0x0F;
        len = ((t & 3) << 3 | (b2 & 7)) + 3;
        off = b << 5 | b2 >> 3;
        return true;
    }
    }
}

// Decodes the rest of a block from the token at `p` once it no longer fits its 8191 bytes,
// into a vector that grows freely (a payload of 65535 bytes gives at most about 5.6 MB), with
// every check; at the end the size is refused. Every byte decoded stays appended.
[[noreturn, gnu::cold, gnu::noinline]] void finish_oversized(const unsigned char* p,
                                                             const unsigned char* end,
                                                             std::vector<char>& out,
                                                             std::size_t base, std::size_t kept) {
    out.resize(kept);
    auto take = [&](std::size_t count) {
        if (static_cast<std::size_t>(end - p) < count)
            throw compress_error(compress_messages::out_of_input, 0);
        out.insert(out.end(), p, p + count);
        p += count;
    };
    while (p != end) {
        const unsigned t = *p++;
        if (t >= 0x40) {
            std::size_t lit, len, off;
            if (!read_match(t, p, end, lit, len, off))
                throw compress_error(compress_messages::out_of_input, 0);
            take(lit);
            if (off == 0 || off > out.size() - base)
                throw compress_error(compress_messages::offset_out_of_block, 0);
            if (len > off)
                throw compress_error(compress_messages::match_overlaps_output, 0);
            const std::size_t from = out.size() - off;
            for (std::size_t i = 0; i < len; ++i)
                out.push_back(out[from + i]);
        } else if (t != 0) {
            take(t);
        } else {
            if (end - p < 2)
                throw compress_error(compress_messages::out_of_input, 0);
            out.insert(out.end(), p[0], static_cast<char>(p[1]));
            p += 2;
        }
    }
    throw compress_error(compress_messages::size_too_large, 0);
}

} // namespace

namespace {

// Where one block's decoding stands: its payload left and its output so far.
struct block_cursor {
    const unsigned char* p;
    const unsigned char* end;
    char* first; // the block's first output byte
    char* o;
    char* limit; // the fast path writes nothing at or past this
};

// The first tokens of a block go through the branchy match copy and vote on the copy for
// the rest: for when lengths above 16 are common, against when short matches at offsets
// below 32 are.
constexpr int sample_tokens = 32;

// Decodes the next token when it is valid, fits the block and leaves a whole token plus a
// 16-byte literal chunk in the payload; otherwise changes nothing and returns false, leaving
// the token (and its fault, if any) to the careful loop.
template <bool wide> inline bool fast_token(block_cursor& c, int& votes) {
    const unsigned char* p = c.p;
    char* o = c.o;
    if (c.end - p < 19)
        return false;
    const unsigned t = p[0];
    // Every write below stays within 64 bytes past the token's output.
    const auto room_now = static_cast<std::size_t>(c.limit - o);
    if (t >= 0x40) {
        const std::uint64_t f = match_fields[t];
        const std::size_t lit = f & 0xFF;
        const std::size_t size_of = f >> 8 & 0xFF;
        const std::size_t b1 = p[1], b2 = p[2];
        const std::size_t len = (f >> 16 & 0xFF) + (b2 & (f >> 24 & 0xFF));
        const std::size_t off =
            (f >> 32 & 0xFF) << 8 | b1 << (f >> 40 & 0xFF) | ((b2 >> 3) & (f >> 48 & 0xFF));
        const auto produced = static_cast<std::size_t>(o - c.first) + lit;
        if ((lit + len > room_now) | (off - 1 >= produced) | (len > off))
            return false;
        copy16(o, reinterpret_cast<const char*>(p + size_of));
        c.p = p + advance[t];
        if constexpr (wide) {
            c.o = copy_match_wide(o + lit, off, len);
        } else {
            votes += int{len > 16} - int{(off < 32) & (len <= 16)};
            c.o = copy_match(o + lit, off, len);
        }
    } else if (t != 0) {
        const auto avail = static_cast<std::size_t>(c.end - p);
        if (t >= avail || t > room_now)
            return false;
        if (avail > 64) {
            for (std::size_t i = 0; i < 64; i += 16)
                copy16(o + i, reinterpret_cast<const char*>(p + 1 + i));
        } else {
            std::memcpy(o, p + 1, t);
        }
        c.o = o + t;
        c.p = p + 1 + t;
    } else {
        const std::size_t count = p[1];
        if (count > room_now)
            return false;
        char fill[16];
        std::memset(fill, p[2], 16);
        if (count <= 16)
            std::memcpy(o, fill, 16);
        else
            std::memset(o, p[2], count);
        c.o = o + count;
        c.p = p + 3;
    }
    return true;
}

// One token of each block in turn: the two chains from a token to the next one overlap.
template <bool wide> inline bool step_both(block_cursor& a, block_cursor& b, int& votes) {
    const bool took_a = fast_token<wide>(a, votes);
    const bool took_b = fast_token<wide>(b, votes);
    return took_a && took_b;
}

// Decodes the rest of the block at `c`, whose output starts at out[base] and has the room of
// lzm_decode_reserve; returns the block's size. On a fault the block's bytes decoded so far
// stay appended and everything after them is dropped.
std::size_t finish_block(block_cursor c, std::vector<char>& out, std::size_t base) {
    int votes = 0;
    bool more = true;
    for (int i = 0; i < sample_tokens && more; ++i)
        more = fast_token<false>(c, votes);
    if (votes > 0) {
        while (more && fast_token<true>(c, votes)) {
        }
    } else {
        while (more && fast_token<false>(c, votes)) {
        }
    }

    const unsigned char* p = c.p;
    const unsigned char* const end = c.end;
    char* const first = c.first;
    char* const last = first + lzm_block_input_limit; // output may not pass this
    char* o = c.o;
    auto avail = [&] { return static_cast<std::size_t>(end - p); };
    auto room = [&] { return static_cast<std::size_t>(last - o); };
    auto fail_here = [&](const char* message) {
        fail_decode(out, base + static_cast<std::size_t>(o - first), message);
    };

    while (p != end) {
        const unsigned char* const token = p;
        char* const token_output = o;
        // A block that grows past its limit is decoded to its end all the same, so a later
        // input fault is the one reported; then its size is refused.
        auto refuse_size = [&] {
            finish_oversized(token, end, out, base,
                             base + static_cast<std::size_t>(token_output - first));
        };
        const unsigned t = *p++;
        if (t >= 0x40) {
            std::size_t lit, len, off;
            if (!read_match(t, p, end, lit, len, off))
                fail_here(compress_messages::out_of_input);
            if (lit != 0) {
                if (lit > avail())
                    fail_here(compress_messages::out_of_input);
                if (lit > room())
                    refuse_size();
                // At most 15 literals: one chunk when the payload has 16 bytes left.
                if (avail() >= 16)
                    copy16(o, reinterpret_cast<const char*>(p));
                else
                    std::memcpy(o, p, lit);
                o += lit;
                p += lit;
            }
            if (off == 0 || off > static_cast<std::size_t>(o - first))
                fail_here(compress_messages::offset_out_of_block);
            if (len > off)
                fail_here(compress_messages::match_overlaps_output);
            if (len > room())
                refuse_size();
            // Chunked copy may write up to 47 bytes past o into the slack and read bytes
            // past o; every byte inside the match comes from before o because len <= off.
            o = copy_match(o, off, len);
        } else if (t != 0) {
            if (t > avail())
                fail_here(compress_messages::out_of_input);
            if (t > room())
                refuse_size();
            std::memcpy(o, p, t);
            o += t;
            p += t;
        } else {
            if (avail() < 2)
                fail_here(compress_messages::out_of_input);
            const std::size_t count = p[0];
            if (count > room())
                refuse_size();
            std::memset(o, p[1], count);
            o += count;
            p += 2;
        }
    }
    return static_cast<std::size_t>(o - first);
}

// The fast path may write 64 bytes past the block's end unless `slack` is false.
block_cursor cursor_at(const char* payload, std::size_t size, char* output, bool slack = true) {
    const auto* p = reinterpret_cast<const unsigned char*>(payload);
    char* const end = output + lzm_block_input_limit;
    return {p, p + size, output, output, slack ? end : end - 64};
}

} // namespace

std::size_t lzm_decode_block(const char* payload, std::size_t size, std::vector<char>& out) {
    const std::size_t base = out.size();
    out.resize(base + lzm_decode_reserve);
    const std::size_t produced =
        finish_block(cursor_at(payload, size, out.data() + base), out, base);
    out.resize(base + produced);
    return produced;
}

std::size_t lzm_decode_pair(const char* payload1, std::size_t size1, const char* payload2,
                            std::size_t size2, std::vector<char>& out, std::size_t& first_size) {
    const std::size_t base = out.size();
    out.resize(base + lzm_block_input_limit + lzm_decode_reserve);
    // The second block goes where it belongs when the first one is full, as all but the
    // last block of a stream are, so it seldom has to move. Until the second block is done
    // with its fast path, the first one keeps off it.
    block_cursor a = cursor_at(payload1, size1, out.data() + base, false);
    block_cursor b = cursor_at(payload2, size2, a.first + lzm_block_input_limit);
    int votes = 0;
    bool both = true;
    for (int i = 0; i < sample_tokens && both; ++i)
        both = step_both<false>(a, b, votes);
    if (votes > 0) {
        while (both)
            both = step_both<true>(a, b, votes);
        while (fast_token<true>(b, votes)) {
        }
    } else {
        while (both)
            both = step_both<false>(a, b, votes);
        while (fast_token<false>(b, votes)) {
        }
    }

    // Finishing the first block may write into the second one's first 64 bytes.
    char saved[64];
    std::memcpy(saved, b.first, sizeof saved);
    a.limit += 64;
    const std::size_t size_a = finish_block(a, out, base);
    first_size = size_a;
    char* const b_first = out.data() + base + size_a;
    const auto decoded_b = static_cast<std::size_t>(b.o - b.first);
    std::memcpy(b.first, saved, sizeof saved);
    if (b_first != b.first) {
        std::memmove(b_first, b.first, decoded_b);
        b.o = b_first + decoded_b;
        b.limit = b_first + lzm_block_input_limit;
        b.first = b_first;
    }
    const std::size_t size_b = finish_block(b, out, base + size_a);
    out.resize(base + size_a + size_b);
    return size_a + size_b;
}

void lzm_write_header(char* header, std::uint16_t payload_size) {
    const std::uint32_t word = std::uint32_t{payload_size} << 16 | lzm_magic;
    for (std::size_t i = 0; i < lzm_header_size; ++i)
        header[i] = static_cast<char>(word >> (8 * i) & 0xFF);
}

} // namespace qel::detail
