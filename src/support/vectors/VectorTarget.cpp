#include "support/vectors/VectorTarget.h"

#include <array>

namespace orq {
namespace {

constexpr std::array kTargets{VectorTarget::Baseline, VectorTarget::Avx2, VectorTarget::Avx512,
                              VectorTarget::Avx512Vbmi};

// The compiler's look at the processor includes whether the system keeps the wide registers.
std::size_t CountTargets() {
#if defined(__x86_64__)
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("avx2")) return 1;
  if (!__builtin_cpu_supports("avx512bw") || !__builtin_cpu_supports("avx512vl")) return 2;
  return __builtin_cpu_supports("avx512vbmi") ? 4 : 3;
#else
  return 1;
#endif
}

}  // namespace

std::span<const VectorTarget> VectorTargets() {
  static const std::size_t count = CountTargets();
  return std::span(kTargets).first(count);
}

}  // namespace orq
