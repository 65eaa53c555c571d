// Runs of yEnc data, a vector at a time.
//
// Of 256 values four are escaped, and a line has 128 bytes, so that of 32 bytes every other vector
// loses a byte. All of them are therefore decoded the same way, without a branch: the bytes to drop
// give a mask, and each eight bits of the mask a shuffle that closes the gaps.  A `=` after a `=`,
// or a `=y`, is so rare that the caller takes it byte by byte.
#include <bit>
#include <cstring>

#include "decode/yenc.h"

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace gravlin {
namespace {

// For each set of dropped bytes of eight, the indices of the kept ones, one after the other; for
// the lower and the upper half of a vector of sixteen.
struct ShuffleTable {
  alignas(64) std::uint64_t low[256];
  alignas(64) std::uint64_t high[256];
};

constexpr ShuffleTable MakeShuffles() {
  ShuffleTable table{};
  for (unsigned dropped = 0; dropped < 256; ++dropped) {
    int shift = 0;
    for (unsigned index = 0; index < 8; ++index) {
      if (dropped >> index & 1) continue;
      table.low[dropped] |= std::uint64_t{index} << shift;
      table.high[dropped] |= std::uint64_t{index + 8} << shift;
      shift += 8;
    }
  }
  return table;
}

constexpr ShuffleTable kShuffles = MakeShuffles();

#if defined(__x86_64__)

// Writes the kept bytes of sixteen.
__attribute__((target("avx2,popcnt"))) inline std::uint8_t* StoreKept(__m128i bytes,
                                                                      unsigned dropped,
                                                                      std::uint8_t* out) {
  const unsigned low = dropped & 0xff;
  const unsigned high = dropped >> 8 & 0xff;
  __m128 shuffle =
      _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(&kShuffles.low[low])));
  shuffle = _mm_loadh_pi(shuffle, reinterpret_cast<const __m64*>(&kShuffles.high[high]));
  const __m128i kept = _mm_shuffle_epi8(bytes, _mm_castps_si128(shuffle));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), kept);
  out += 8 - __builtin_popcount(low);
  _mm_storeh_pi(reinterpret_cast<__m64*>(out), _mm_castsi128_ps(kept));
  return out + 8 - __builtin_popcount(high);
}

__attribute__((target("avx2,popcnt"))) const std::uint8_t* RunAvx2(const std::uint8_t* at,
                                                                   const std::uint8_t* end,
                                                                   std::uint8_t*& out,
                                                                   bool& escape) {
  const __m256i equals = _mm256_set1_epi8('=');
  std::uint8_t* to = out;
  for (; end - at >= 32; at += 32) {
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
    const __m256i before = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at - 1));
    const __m256i mark = _mm256_cmpeq_epi8(bytes, equals);
    const __m256i escaped = _mm256_cmpeq_epi8(before, equals);
    const __m256i line_end = _mm256_or_si256(_mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(13)),
                                             _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(10)));
    const __m256i rare = _mm256_and_si256(
        escaped, _mm256_or_si256(mark, _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8('y'))));
    if (!_mm256_testz_si256(rare, rare)) break;
    const __m256i decoded = _mm256_sub_epi8(_mm256_sub_epi8(bytes, _mm256_set1_epi8(42)),
                                            _mm256_and_si256(escaped, _mm256_set1_epi8(64)));
    const __m256i drop = _mm256_or_si256(mark, _mm256_andnot_si256(escaped, line_end));
    const unsigned dropped = static_cast<unsigned>(_mm256_movemask_epi8(drop));
    to = StoreKept(_mm256_castsi256_si128(decoded), dropped & 0xffff, to);
    to = StoreKept(_mm256_extracti128_si256(decoded, 1), dropped >> 16, to);
  }
  escape = at[-1] == '=';
  out = to;
  return at;
}

#elif defined(__aarch64__)

const std::uint8_t* RunNeon(const std::uint8_t* at, const std::uint8_t* end, std::uint8_t*& out,
                            bool& escape) {
  const uint8x16_t equals = vdupq_n_u8('=');
  const uint8x8_t bit_values = vcreate_u8(0x8040201008040201);
  const uint8x16_t bits = vcombine_u8(bit_values, bit_values);
  std::uint8_t* to = out;
  for (; end - at >= 16; at += 16) {
    const uint8x16_t bytes = vld1q_u8(at);
    const uint8x16_t mark = vceqq_u8(bytes, equals);
    const uint8x16_t escaped = vceqq_u8(vld1q_u8(at - 1), equals);
    const uint8x16_t line_end =
        vorrq_u8(vceqq_u8(bytes, vdupq_n_u8(13)), vceqq_u8(bytes, vdupq_n_u8(10)));
    const uint8x16_t rare = vandq_u8(escaped, vorrq_u8(mark, vceqq_u8(bytes, vdupq_n_u8('y'))));
    if (vmaxvq_u8(rare)) break;
    const uint8x16_t decoded =
        vsubq_u8(vsubq_u8(bytes, vdupq_n_u8(42)), vandq_u8(escaped, vdupq_n_u8(64)));
    const uint8x16_t drop = vandq_u8(vorrq_u8(mark, vbicq_u8(line_end, escaped)), bits);
    const unsigned low = vaddv_u8(vget_low_u8(drop));
    const unsigned high = vaddv_u8(vget_high_u8(drop));
    vst1_u8(to, vtbl1_u8(vget_low_u8(decoded), vcreate_u8(kShuffles.low[low])));
    to += 8 - std::popcount(low);
    vst1_u8(to, vtbl1_u8(vget_high_u8(decoded), vcreate_u8(kShuffles.low[high])));
    to += 8 - std::popcount(high);
  }
  escape = at[-1] == '=';
  out = to;
  return at;
}

#endif

}  // namespace

YencDecoder::Run YencDecoder::VectorRun() {
#if defined(__x86_64__)
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt") ? RunAvx2 : nullptr;
#elif defined(__aarch64__)
  return RunNeon;
#else
  return nullptr;
#endif
}

}  // namespace gravlin
