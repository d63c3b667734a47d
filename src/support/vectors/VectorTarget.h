// Kernels in versions for the vector instructions that a processor may have or not.
#pragma once

#include <cstdint>
#include <span>

namespace orq {

/// Sets of vector instructions beyond those that the compiler may use everywhere.
enum class VectorTarget : std::uint8_t {
  Baseline,  ///< what every processor of the kind has: NEON on 64-bit Arm
  Avx2,
  Avx512,      ///< with operations on bytes
  Avx512Vbmi,  ///< and byte permutes
};

/// Those that this processor has, baseline first. Any-thread.
std::span<const VectorTarget> VectorTargets();
/// The last of them.
inline VectorTarget BestVectorTarget() {
  return VectorTargets().back();
}

/// In front of a kernel's body: it becomes part of every version.
#define ORQ_KERNEL [[gnu::always_inline]] static inline

#if defined(__x86_64__)

#define ORQ_AVX2 [[gnu::target("avx2")]]
#define ORQ_AVX512 [[gnu::target("avx2,avx512f,avx512bw,avx512vl")]]

template <class Kernel, class... Args>
ORQ_AVX2 auto RunWithAvx2(Args... args) {
  return Kernel::Run(args...);
}
template <class Kernel, class... Args>
ORQ_AVX512 auto RunWithAvx512(Args... args) {
  return Kernel::Run(args...);
}

/// Calls `Kernel::Run`, which is an ORQ_KERNEL of plain loops, as the compiler vectorises it for a target.
template <class Kernel, class... Args>
auto RunOn(VectorTarget target, Args... args) {
  if (target >= VectorTarget::Avx512) return RunWithAvx512<Kernel>(args...);
  if (target == VectorTarget::Avx2) return RunWithAvx2<Kernel>(args...);
  return Kernel::Run(args...);
}

#else

template <class Kernel, class... Args>
auto RunOn(VectorTarget, Args... args) {
  return Kernel::Run(args...);
}

#endif

}  // namespace orq
