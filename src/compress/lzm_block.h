// The lzm block codec: blocks of at most 8191 bytes, each a 4-byte header (magic 0x5A5B and
// the payload length, little-endian) and a payload of literal runs, repeat runs and matches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::detail {

inline constexpr std::size_t lzm_block_input_limit = 8191;
inline constexpr std::uint32_t lzm_magic = 0x5A5B;
inline constexpr std::size_t lzm_header_size = 4;
// The decoder works in place at the end of its output vector and copies in 16-byte chunks,
// so it grows the vector to (size on entry + this) while decoding; a work vector reserved
// with this capacity never reallocates.
inline constexpr std::size_t lzm_decode_reserve = lzm_block_input_limit + 64;

// The token chosen for a match: kind 0 none (the byte becomes a literal), 1 "01", 2 "10",
// 3 "11". flush_literals: 16 or more literals are pending, too many for any match token to
// carry, so they go out as a literal run first and `kind` assumes none are pending.
struct lzm_choice_ {
    int kind;
    bool flush_literals;
};

// Throws compress_error "LZM assert: select: ..." when an argument is out of range.
lzm_choice_ lzm_select(std::size_t pending_literals, std::size_t length, std::size_t offset);

// Token writers of the encoder. Each checks the limits of its token first (compress_error
// "LZM assert: ...") and returns the number of bytes written to `out`.
std::size_t lzm_put_literals(char* out, const char* literals, std::size_t count);
std::size_t lzm_put_repeat(char* out, std::size_t pending_literals, std::size_t count,
                           unsigned char value);
// kind 1..3; `position` is the input index where the match starts, which bounds the offset.
std::size_t lzm_put_match(char* out, int kind, const char* literals, std::size_t literal_count,
                          std::size_t length, std::size_t offset, std::size_t position);

// Reusable state of the block encoder (hash table and payload buffer), so that a call or a
// stream allocates once.
class lzm_block_encoder {
public:
    lzm_block_encoder();
    // Encodes 0..8191 bytes into payload() and returns the payload length. Failed internal
    // checks, and more than 8191 bytes, throw compress_error "LZM assert: ...".
    std::uint16_t encode(const char* input, std::size_t size);
    // The payload of the last encode().
    std::span<const char> payload() const { return {payload_.data(), length_}; }

private:
    std::vector<std::uint16_t> hash_table_;
    std::vector<char> payload_; // fixed size, with room for the encoder's chunked copies
    std::size_t length_ = 0;
};

// Decodes one payload and appends the bytes to `out`; returns how many were appended.
// Malformed payloads throw compress_error; the bytes of the block decoded before the fault
// stay appended. Nothing outside the payload or the block's own output is ever read.
std::size_t lzm_decode_block(const char* payload, std::size_t size, std::vector<char>& out);

// Decodes two payloads, the blocks one after the other, and appends their bytes to `out`;
// returns how many were appended. The tokens of the two are interleaved, which is faster than
// two calls of lzm_decode_block, and the results are the same: on a fault in the first block
// only its bytes decoded so far stay appended, on a fault in the second the whole first block
// and the second one's bytes so far. `first_size` receives the first block's size as soon as
// it is decoded.
std::size_t lzm_decode_pair(const char* payload1, std::size_t size1, const char* payload2,
                            std::size_t size2, std::vector<char>& out, std::size_t& first_size);

// The 4-byte header of a block with `payload_size` payload bytes.
void lzm_write_header(char* header, std::uint16_t payload_size);

} // namespace qel::detail
