// The algorithm with SHA instructions follows their description in Intel's Architecture Instruction Set
// Extensions Programming Reference: a vector holds four words of the message or of the state, the first one
// in its highest lane.
#include "snapshot/digest/sha1_blocks.h"

#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#endif

#define OPENSSL_SUPPRESS_DEPRECATED // as in digest.cpp
#include <openssl/sha.h>

namespace snapshot {

namespace {

void storeBigEndian(uint8_t* to, uint32_t value) {
    for (unsigned i = 0; i < 4; i++)
        to[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

void digestBlock(const uint8_t* block, uint8_t* digest) {
    SHA_CTX context;
    SHA1_Init(&context);
    SHA1_Transform(&context, block);
    storeBigEndian(digest, context.h0);
    storeBigEndian(digest + 4, context.h1);
    storeBigEndian(digest + 8, context.h2);
    storeBigEndian(digest + 12, context.h3);
    storeBigEndian(digest + 16, context.h4);
}

#if defined(__x86_64__)

// Four of the 80 steps of one message: `group` is 0 to 19, `w` its last sixteen words. `e` is the fifth word
// of the state, made of the state before the last four steps.
// NOLINTBEGIN(bugprone-macro-parentheses): variables that are assigned to
#define FOUR_STEPS(group, state, before, w)                                                                  \
    {                                                                                                        \
        const __m128i e = (group) == 0                                                                       \
                              ? _mm_add_epi32(_mm_set_epi32(static_cast<int>(0xC3D2E1F0U), 0, 0, 0), (w)[0]) \
                              : _mm_sha1nexte_epu32(before, (w)[(group) % 4]);                               \
        before = state;                                                                                      \
        state = _mm_sha1rnds4_epu32(state, e, (group) / 5);                                                  \
        if ((group) < 16)                                                                                    \
            (w)[(group) % 4] = _mm_sha1msg2_epu32(                                                           \
                _mm_xor_si128(_mm_sha1msg1_epu32((w)[(group) % 4], (w)[((group) + 1) % 4]),                  \
                              (w)[((group) + 2) % 4]),                                                       \
                (w)[((group) + 3) % 4]);                                                                     \
    }
// NOLINTEND(bugprone-macro-parentheses)
#define BOTH(group)                                                                                          \
    FOUR_STEPS(group, state0, before0, words0)                                                               \
    FOUR_STEPS(group, state1, before1, words1)
#define FIVE_GROUPS(first) BOTH(first) BOTH((first) + 1) BOTH((first) + 2) BOTH((first) + 3) BOTH((first) + 4)

__attribute__((target("sha,sse4.1"))) void finish(__m128i state, __m128i before, __m128i start, __m128i order,
                                                  uint8_t* digest) {
    const __m128i fifth = _mm_sha1nexte_epu32(before, _mm_set_epi32(static_cast<int>(0xC3D2E1F0U), 0, 0, 0));
    const __m128i four = _mm_shuffle_epi8(_mm_add_epi32(state, start), order);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(digest), four);
    storeBigEndian(digest + 16, static_cast<uint32_t>(_mm_extract_epi32(fifth, 3)));
}

__attribute__((target("sha,sse4.1"))) void digestPairByShaInstructions(const uint8_t (&blocks)[2][kBlock],
                                                                       uint8_t* first, uint8_t* second) {
    const __m128i order = _mm_set_epi64x(0x0001020304050607, 0x08090A0B0C0D0E0F); // all 16 bytes turned round
    const __m128i start =
        _mm_set_epi32(0x67452301, static_cast<int>(0xEFCDAB89U), static_cast<int>(0x98BADCFEU), 0x10325476);
    __m128i words0[4], words1[4];
    for (size_t i = 0; i < 4; i++) {
        words0[i] =
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks[0] + 16 * i)), order);
        words1[i] =
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks[1] + 16 * i)), order);
    }
    __m128i state0 = start, state1 = start, before0, before1; // the first steps set what was before
    FIVE_GROUPS(0)
    FIVE_GROUPS(5)
    FIVE_GROUPS(10)
    FIVE_GROUPS(15)
    finish(state0, before0, start, order, first);
    finish(state1, before1, start, order, second);
}

bool hasShaInstructions() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0 || (b & (1U << 29)) == 0) return false; // SHA
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_SSE4_1) != 0;
}

#endif

} // namespace

void digestPairPlainly(const uint8_t (&blocks)[2][kBlock], uint8_t* first, uint8_t* second) {
    digestBlock(blocks[0], first);
    digestBlock(blocks[1], second);
}

DigestPair digestPairByInstructions() {
#if defined(__x86_64__)
    static const bool has = hasShaInstructions();
    if (has) return digestPairByShaInstructions;
#endif
    return nullptr;
}

} // namespace snapshot
