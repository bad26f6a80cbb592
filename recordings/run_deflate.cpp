#include "recordings/run_deflate.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <libdeflate.h>

namespace recordings {
namespace {

constexpr size_t literal_count = 256;
constexpr size_t end_of_block = 256;
constexpr size_t first_run = literal_count;
constexpr size_t shortest_run = 3;
constexpr size_t longest_run = 258;
constexpr size_t token_count = first_run + longest_run - shortest_run + 1;
constexpr size_t symbol_count = 286;
constexpr size_t distance_count = 2; // distance 1 is used; a second one makes the code complete
constexpr size_t length_symbol_count = 19;
constexpr size_t tokens_in_block = 32768; // statistics change slowly across a picture
// A header of at most 7 bits for each length, then tokens of at most 15 + 5 + 1 bits.
constexpr size_t most_block_bytes = 1024 + tokens_in_block * 3; // and the checksum at the end

struct LengthSymbol {
  uint16_t symbol;
  uint8_t extra_bits;
  uint8_t extra;
};

/// The symbol of each run length, from the shortest on.
constexpr auto length_symbols = [] {
  std::array<LengthSymbol, longest_run - shortest_run + 1> table{};
  size_t length = 0;
  for (uint16_t symbol = 257; symbol < 285; ++symbol) {
    const auto bits = static_cast<uint8_t>(symbol < 265 ? 0 : (symbol - 261) / 4);
    for (unsigned extra = 0; extra < 1U << bits && length < table.size(); ++extra)
      table[length++] = {symbol, bits, static_cast<uint8_t>(extra)};
  }
  table.back() = {285, 0, 0};
  return table;
}();

struct Code {
  uint32_t bits = 0;
  uint32_t count = 0; ///< of bits
};

class BitWriter {
 public:
  /// Overwrites `bytes` from the front.
  explicit BitWriter(std::vector<uint8_t>& bytes) : bytes_(&bytes), begin_(bytes.data()) {}

  /// Lets the bytes grow, for at least `count` more.
  void make_room(size_t count) {
    const size_t needed = used_ + count + sizeof pending_;
    if (bytes_->size() < needed)
      bytes_->resize(std::max(bytes_->size() * 2, needed));
    begin_ = bytes_->data();
  }

  /// At most 56 bits up to the next `flush`.
  void hold(Code code) {
    pending_ |= uint64_t{code.bits} << count_;
    count_ += code.count;
  }

  void flush() {
    std::array<uint8_t, sizeof pending_> bytes;
    for (unsigned i = 0; i < bytes.size(); ++i) // one store, once compiled
      bytes[i] = static_cast<uint8_t>(pending_ >> (8 * i));
    std::memcpy(begin_ + used_, bytes.data(), bytes.size());
    used_ += count_ / 8;
    pending_ >>= count_ / 8 * 8;
    count_ %= 8;
  }

  void put(Code code) {
    hold(code);
    flush();
  }

  void fill_byte() { put({0, (8 - count_) % 8}); }

  /// Bytes so far, the last one full.
  size_t size() const { return used_; }

 private:
  std::vector<uint8_t>* bytes_;
  uint8_t* begin_;
  size_t used_ = 0;
  uint64_t pending_ = 0;
  uint32_t count_ = 0;
};

/// Shortens codes that are longer than `longest` by lengthening others, so that all fit the tree
/// again. `counts[n]` symbols have codes of n bits.
void limit_lengths(std::array<uint32_t, 33>& counts, size_t longest) {
  for (size_t bits = longest + 1; bits < counts.size(); ++bits)
    counts[longest] += std::exchange(counts[bits], 0);
  uint64_t used = 0; // of 2^longest places
  for (size_t bits = 1; bits <= longest; ++bits)
    used += uint64_t{counts[bits]} << (longest - bits);
  for (; used > uint64_t{1} << longest; --used) {
    // One of the longest goes below the deepest inner place that a shorter code leaves.
    --counts[longest];
    size_t bits = longest - 1;
    while (counts[bits] == 0)
      --bits;
    --counts[bits];
    counts[bits + 1] += 2;
  }
}

/// The code of each symbol that occurs, at most `longest` bits; at least two symbols get one.
template <size_t N>
std::array<Code, N> huffman_codes(std::array<uint32_t, N> frequencies, size_t longest) {
  for (size_t symbol = 0; std::ranges::count(frequencies, 0U) > static_cast<ptrdiff_t>(N - 2);
       ++symbol)
    frequencies[symbol] = std::max(frequencies[symbol], 1U);
  struct Leaf {
    uint32_t frequency;
    uint32_t symbol;
  };
  std::array<Leaf, N> leaves;
  size_t leaf_count = 0;
  for (uint32_t symbol = 0; symbol < N; ++symbol)
    if (frequencies[symbol] != 0)
      leaves[leaf_count++] = {frequencies[symbol], symbol};
  std::sort(leaves.begin(), leaves.begin() + leaf_count, [](Leaf left, Leaf right) {
    return left.frequency != right.frequency ? left.frequency < right.frequency
                                             : left.symbol < right.symbol;
  });

  // Nodes are made in the order of their frequencies: leaves first, then inner ones.
  std::array<uint32_t, 2 * N> weight;
  std::array<uint32_t, 2 * N> parent;
  for (size_t i = 0; i < leaf_count; ++i)
    weight[i] = leaves[i].frequency;
  const size_t root = 2 * leaf_count - 2;
  size_t leaf = 0;
  size_t inner = leaf_count;
  for (size_t next = leaf_count; next <= root; ++next) {
    weight[next] = 0;
    for (int child = 0; child < 2; ++child) {
      const bool take_leaf = leaf < leaf_count && (inner == next || weight[leaf] <= weight[inner]);
      const size_t taken = take_leaf ? leaf++ : inner++;
      weight[next] += weight[taken];
      parent[taken] = static_cast<uint32_t>(next);
    }
  }
  std::array<uint32_t, 2 * N> depth;
  std::array<uint32_t, 33> counts{};
  depth[root] = 0;
  for (size_t node = root; node-- > 0;) {
    depth[node] = depth[parent[node]] + 1;
    if (node < leaf_count)
      ++counts[std::min<size_t>(depth[node], counts.size() - 1)];
  }
  limit_lengths(counts, longest);

  // The rarest symbols get the longest codes; among codes of one length, symbols rise.
  std::array<Code, N> codes{};
  size_t rarest = 0;
  for (size_t bits = longest; bits > 0; --bits)
    for (uint32_t i = 0; i < counts[bits]; ++i)
      codes[leaves[rarest++].symbol].count = static_cast<uint32_t>(bits);
  std::array<uint32_t, 17> next_code{};
  for (size_t bits = 1; bits <= longest; ++bits)
    next_code[bits] = (next_code[bits - 1] + (bits > 1 ? counts[bits - 1] : 0)) << 1;
  for (Code& code : codes) {
    uint32_t value = code.count != 0 ? next_code[code.count]++ : 0;
    for (uint32_t bit = 0; bit < code.count; ++bit, value >>= 1) // sent from the top down
      code.bits = code.bits << 1 | (value & 1);
  }
  return codes;
}

/// Code lengths as a block's header has them: symbols of their own for repetitions.
struct HeaderSymbol {
  uint8_t symbol;
  uint8_t extra;
};

template <size_t N>
size_t pack_lengths(const std::array<uint8_t, N>& lengths, size_t count,
                    std::array<HeaderSymbol, N>& packed) {
  size_t size = 0;
  for (size_t i = 0; i < count;) {
    const uint8_t length = lengths[i];
    size_t run = 1;
    while (i + run < count && lengths[i + run] == length)
      ++run;
    i += run;
    if (length != 0) {
      packed[size++] = {length, 0};
      --run;
    }
    while (run >= 3) {
      const size_t part = std::min<size_t>(run, length != 0 ? 6 : 138);
      if (length != 0)
        packed[size++] = {16, static_cast<uint8_t>(part - 3)};
      else if (part <= 10)
        packed[size++] = {17, static_cast<uint8_t>(part - 3)};
      else
        packed[size++] = {18, static_cast<uint8_t>(part - 11)};
      run -= part;
    }
    for (; run > 0; --run)
      packed[size++] = {length, 0};
  }
  return size;
}

void put_header(BitWriter& writer, const std::array<Code, symbol_count>& codes, bool last) {
  std::array<uint8_t, symbol_count + distance_count> lengths{};
  size_t used = symbol_count;
  while (codes[used - 1].count == 0)
    --used;
  for (size_t i = 0; i < used; ++i)
    lengths[i] = static_cast<uint8_t>(codes[i].count);
  for (size_t i = 0; i < distance_count; ++i)
    lengths[used + i] = 1;
  std::array<HeaderSymbol, symbol_count + distance_count> packed;
  const size_t packed_count = pack_lengths(lengths, used + distance_count, packed);
  std::array<uint32_t, length_symbol_count> frequencies{};
  for (size_t i = 0; i < packed_count; ++i)
    ++frequencies[packed[i].symbol];
  const auto length_codes = huffman_codes(frequencies, 7);

  constexpr std::array<uint8_t, length_symbol_count> order{16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                           11, 4,  12, 3, 13, 2, 14, 1, 15};
  uint32_t order_count = length_symbol_count;
  while (length_codes[order[order_count - 1]].count == 0)
    --order_count;
  writer.put({last ? 1U : 0U, 1});
  writer.put({2, 2}); // codes of its own
  writer.put({static_cast<uint32_t>(used - 257), 5});
  writer.put({distance_count - 1, 5});
  writer.put({order_count - 4, 4});
  for (size_t i = 0; i < order_count; ++i)
    writer.put({length_codes[order[i]].count, 3});
  for (size_t i = 0; i < packed_count; ++i) {
    writer.put(length_codes[packed[i].symbol]);
    constexpr std::array<uint32_t, 3> extra_bits{2, 3, 7};
    if (packed[i].symbol >= 16)
      writer.put({packed[i].extra, extra_bits[packed[i].symbol - 16U]});
  }
}

void put_block(BitWriter& writer, std::span<const uint16_t> tokens, bool last) {
  // Four counters, so that equal neighbours don't wait for each other.
  std::array<std::array<uint32_t, token_count>, 4> counters{};
  for (size_t i = 0; i < tokens.size(); ++i)
    ++counters[i % 4][tokens[i]];
  const auto occurrences = [&counters](size_t token) {
    return counters[0][token] + counters[1][token] + counters[2][token] + counters[3][token];
  };
  std::array<uint32_t, symbol_count> frequencies{};
  for (size_t literal = 0; literal < literal_count; ++literal)
    frequencies[literal] = occurrences(literal);
  for (size_t run = 0; run < length_symbols.size(); ++run)
    frequencies[length_symbols[run].symbol] += occurrences(first_run + run);
  frequencies[end_of_block] = 1;

  const auto codes = huffman_codes(frequencies, 15);
  std::array<Code, token_count> token_codes;
  std::copy_n(codes.begin(), literal_count, token_codes.begin());
  for (size_t run = 0; run < length_symbols.size(); ++run) {
    const auto [symbol, extra_bits, extra] = length_symbols[run];
    const Code code = codes[symbol];
    // Distance 1 is a zero bit behind all.
    token_codes[first_run + run] = {code.bits | uint32_t{extra} << code.count,
                                    code.count + extra_bits + 1};
  }
  put_header(writer, codes, last);
  BitWriter local = writer; // nothing that is written can change it: it stays in registers
  for (size_t i = 0; i < tokens.size(); ++i) {
    local.hold(token_codes[tokens[i]]);
    if (i % 2 == 1)
      local.flush();
  }
  local.flush();
  writer = local;
  writer.put(codes[end_of_block]);
}

/// How many bytes from `from` on are equal to the one before it.
size_t run_length(std::span<const uint8_t> bytes, size_t from) {
  const uint8_t value = bytes[from - 1];
  const size_t end = std::min(bytes.size(), from + longest_run);
  size_t at = from;
  const uint64_t eight = value * 0x0101010101010101U;
  for (uint64_t next = eight; at + 8 <= end; at += 8) {
    std::memcpy(&next, &bytes[at], 8);
    if (next != eight)
      break;
  }
  while (at < end && bytes[at] == value)
    ++at;
  return at - from;
}

/// Fills `tokens` with the bytes from `at` on, which goes behind them; the number of tokens.
size_t tokenize(std::span<const uint8_t> bytes, size_t& at, std::span<uint16_t> tokens) {
  size_t count = 0;
  while (at < bytes.size() && count < tokens.size()) {
    const uint8_t byte = bytes[at];
    const size_t run = at > 0 && byte == bytes[at - 1] ? run_length(bytes, at) : 0;
    if (run < shortest_run) {
      tokens[count++] = byte;
      ++at;
    } else {
      tokens[count++] = static_cast<uint16_t>(first_run + run - shortest_run);
      at += run;
    }
  }
  return count;
}

} // namespace

std::span<const uint8_t> RunDeflater::compress(std::span<const uint8_t> bytes) {
  tokens_.resize(tokens_in_block);
  BitWriter writer(stream_);
  writer.make_room(2);
  writer.put({0x0178, 16}); // a window of 32 KiB, the fastest level
  size_t at = 0;
  do {
    const size_t count = tokenize(bytes, at, tokens_);
    writer.make_room(most_block_bytes);
    put_block(writer, std::span(tokens_).first(count), at == bytes.size());
  } while (at < bytes.size());
  writer.fill_byte();
  const uint32_t checksum = libdeflate_adler32(1, bytes.data(), bytes.size());
  for (unsigned shift = 32; shift > 0; shift -= 8)
    writer.put({checksum >> (shift - 8) & 0xff, 8});
  return std::span(stream_).first(writer.size());
}

} // namespace recordings
