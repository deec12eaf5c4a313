// Code that uses vectors of the processor at hand.
#pragma once

namespace orm_trace {

// Whether it has AVX2.
inline bool HasAvx2() noexcept {
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

}  // namespace orm_trace

// Compiles a function for AVX2, on a processor family that has it. The functions that it calls have to be inlined.
#if defined(__x86_64__)
#define ORM_TARGET_AVX2 __attribute__((target("avx2")))
#else
#define ORM_TARGET_AVX2
#endif
#define ORM_ALWAYS_INLINE inline __attribute__((always_inline))
