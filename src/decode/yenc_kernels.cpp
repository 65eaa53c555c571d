// Runs of yEnc data, a vector at a time.
//
// Of 256 values four are escaped, and a line has 128 bytes, so that of 32 bytes every other vector
// loses a byte. All of them are therefore decoded the same way, without a branch: the bytes to drop
// give a mask, and each eight bits of the mask a shuffle that closes the gaps.  A `=` behind a `=`,
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
__attribute__((target("ssse3,popcnt"))) inline std::uint8_t* StoreKept(__m128i bytes,
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

__attribute__((target("ssse3,popcnt"))) const std::uint8_t* RunSsse3(const std::uint8_t* at,
                                                                     const std::uint8_t* end,
                                                                     std::uint8_t*& out,
                                                                     bool& escape) {
  const __m128i equals = _mm_set1_epi8('=');
  std::uint8_t* to = out;
  for (; end - at >= 16; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i before = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at - 1));
    const __m128i mark = _mm_cmpeq_epi8(bytes, equals);
    const __m128i escaped = _mm_cmpeq_epi8(before, equals);
    const __m128i line_end = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(13)),
                                          _mm_cmpeq_epi8(bytes, _mm_set1_epi8(10)));
    const __m128i rare =
        _mm_and_si128(escaped, _mm_or_si128(mark, _mm_cmpeq_epi8(bytes, _mm_set1_epi8('y'))));
    if (_mm_movemask_epi8(rare)) break;
    const __m128i decoded = _mm_sub_epi8(_mm_sub_epi8(bytes, _mm_set1_epi8(42)),
                                         _mm_and_si128(escaped, _mm_set1_epi8(64)));
    const __m128i drop = _mm_or_si128(mark, _mm_andnot_si128(escaped, line_end));
    to = StoreKept(decoded, static_cast<unsigned>(_mm_movemask_epi8(drop)), to);
  }
  escape = at[-1] == '=';
  out = to;
  return at;
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

// The processor closes the gaps by itself.
__attribute__((target("avx512bw,avx512vbmi2,popcnt"))) const std::uint8_t* RunAvx512(
    const std::uint8_t* at, const std::uint8_t* end, std::uint8_t*& out, bool& escape) {
  const __m512i equals = _mm512_set1_epi8('=');
  std::uint8_t* to = out;
  for (; end - at >= 64; at += 64) {
    const __m512i bytes = _mm512_loadu_si512(at);
    const __mmask64 mark = _mm512_cmpeq_epi8_mask(bytes, equals);
    const __mmask64 escaped = _mm512_cmpeq_epi8_mask(_mm512_loadu_si512(at - 1), equals);
    const __mmask64 line_end = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(13)) |
                               _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(10));
    const __mmask64 small_y = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8('y'));
    if (escaped & (mark | small_y)) break;
    __m512i decoded = _mm512_sub_epi8(bytes, _mm512_set1_epi8(42));
    decoded = _mm512_mask_sub_epi8(decoded, escaped, decoded, _mm512_set1_epi8(64));
    const __mmask64 kept = ~(mark | (line_end & ~escaped));
    _mm512_storeu_si512(to, _mm512_maskz_compress_epi8(kept, decoded));
    to += std::popcount(kept);
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

bool YencDecoder::Available(Kernel kernel) {
  switch (kernel) {
    case Kernel::kPlain:
      return true;
#if defined(__x86_64__)
    case Kernel::kSsse3:
      return __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt");
    case Kernel::kAvx2:
      return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
    case Kernel::kAvx512:
      return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi2");
#elif defined(__aarch64__)
    case Kernel::kNeon:
      return true;
#endif
    default:
      return false;
  }
}

YencDecoder::Kernel YencDecoder::BestKernel() {
  for (const Kernel kernel : {Kernel::kAvx512, Kernel::kAvx2, Kernel::kNeon, Kernel::kSsse3}) {
    if (Available(kernel)) return kernel;
  }
  return Kernel::kPlain;
}

YencDecoder::Run YencDecoder::RunOf(Kernel kernel) {
  if (!Available(kernel)) return nullptr;
  switch (kernel) {
#if defined(__x86_64__)
    case Kernel::kSsse3:
      return RunSsse3;
    case Kernel::kAvx2:
      return RunAvx2;
    case Kernel::kAvx512:
      return RunAvx512;
#elif defined(__aarch64__)
    case Kernel::kNeon:
      return RunNeon;
#endif
    default:
      return nullptr;
  }
}

}  // namespace gravlin
