#pragma once

/// What the processor can do, for kernels that have a form with AVX2 beside their portable form. Only
/// functions with the attribute KIV_AVX2 may use AVX2, and only such a function may call them, unless
/// HasAvx2 has said yes: a build runs on every processor of its architecture.
#if defined(__x86_64__)
#define KIV_HAS_AVX2_FORMS 1
#define KIV_AVX2 __attribute__((target("avx2,bmi,popcnt")))
#define KIV_AVX2_INLINE [[gnu::always_inline]] KIV_AVX2 inline
#endif

namespace KivGuiBase::Kernels {

bool HasAvx2() noexcept;

/// For tests: every kernel uses its portable form from now on, or again what the processor can do.
void ForcePortable(bool isForced) noexcept;

}  // namespace KivGuiBase::Kernels
