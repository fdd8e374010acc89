/** Loops that take longest are compiled twice, for any processor and for those with AVX2; which one
 *  runs is decided when the library is loaded. */
#pragma once

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define SIM_WIDE_VECTORS __attribute__((target_clones("default", "avx2")))
#else
#define SIM_WIDE_VECTORS // clang builds look for errors, not for speed
#endif
