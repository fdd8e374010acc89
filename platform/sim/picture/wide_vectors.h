/** The hottest loops are compiled twice, for any processor and for processors with AVX2; the
 *  version is chosen when the library is loaded. */
#pragma once

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define SIM_WIDE_VECTORS __attribute__((target_clones("default", "avx2")))
#else
#define SIM_WIDE_VECTORS // clang builds check the code and needn't be fast
#endif
