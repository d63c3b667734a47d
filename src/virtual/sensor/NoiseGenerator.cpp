#include "virtual/sensor/NoiseGenerator.h"

#include <algorithm>

namespace orq {
namespace {

// Ziggurat of 256 layers: right edge of the base layer, and the area that all layers share.
constexpr double kEdge = 3.6541528853610088;
constexpr double kArea = 0.00492867323399;

double Density(double x) {
  return std::exp(-0.5 * x * x);
}

/// Splits the probabilities into equal slots of one value and one alias each (Vose's method).
void FillAliasTable(std::vector<double> weight, std::uint32_t slotBits, std::uint32_t* entries) {
  const std::size_t slots = weight.size();
  const std::uint32_t full = 1U << (32 - slotBits);
  std::vector<std::size_t> poor, rich;
  for (std::size_t i = 0; i < slots; ++i) {
    weight[i] *= static_cast<double>(slots);
    (weight[i] < 1.0 ? poor : rich).push_back(i);
  }
  while (!poor.empty() && !rich.empty()) {
    const std::size_t to = poor.back();
    const std::size_t from = rich.back();
    poor.pop_back();
    const auto threshold = std::min(static_cast<std::uint32_t>(std::lround(weight[to] * full)), full - 1);
    entries[to] = (threshold << slotBits) | static_cast<std::uint32_t>(from);
    weight[from] -= 1.0 - weight[to];
    if (weight[from] < 1.0) {
      rich.pop_back();
      poor.push_back(from);
    }
  }
  for (const auto& rest : {poor, rich})
    for (const std::size_t i : rest) entries[i] = static_cast<std::uint32_t>(i);  // always itself
}

}  // namespace

const GaussianTable& GaussianTable::Get() {
  static const GaussianTable table;
  return table;
}

GaussianTable::GaussianTable() {
  x_[0] = kArea / Density(kEdge);
  x_[1] = kEdge;
  for (std::size_t i = 2; i < 256; ++i) x_[i] = std::sqrt(-2.0 * std::log(kArea / x_[i - 1] + Density(x_[i - 1])));
  x_[256] = 0.0;
  for (std::size_t i = 0; i <= 256; ++i) f_[i] = Density(x_[i]);
}

float GaussianTable::Outside(std::uint64_t bits, std::size_t layer, double z) const {
  SplitMix64 more(bits);
  for (;;) {
    if (layer == 0) {  // the tail beyond the base layer
      double x = 0.0, y = 0.0;
      do {
        x = -std::log(more.Uniform()) / kEdge;
        y = -std::log(more.Uniform());
      } while (y + y < x * x);
      return static_cast<float>(z < 0.0 ? -kEdge - x : kEdge + x);
    }
    const double y = f_[layer] + more.Uniform() * (f_[layer + 1] - f_[layer]);
    if (y < Density(z)) return static_cast<float>(z);
    const std::uint64_t again = more.Next();
    layer = again & 0xFF;
    z = static_cast<double>(static_cast<std::int64_t>(again) >> 11) * 0x1p-52 * x_[layer];
    if (std::fabs(z) < x_[layer + 1]) return static_cast<float>(z);
  }
}

const PoissonTable& PoissonTable::Get() {
  static const PoissonTable table;
  return table;
}

PoissonTable::PoissonTable() : gaussian_(GaussianTable::Get()) {
  const auto tables = static_cast<std::uint32_t>(kExactBelow) * kTablesPerUnit;
  entries_.resize(static_cast<std::size_t>(tables) * kSlots);
  std::vector<double> probability(kSlots);
  for (std::uint32_t t = 0; t < tables; ++t) {
    const double mean = static_cast<double>(t) / kTablesPerUnit;
    double p = std::exp(-mean);
    double sum = 0.0;
    for (std::uint32_t n = 0; n < kSlots; ++n) {
      probability[n] = p;
      sum += p;
      p *= mean / (n + 1);
    }
    for (double& one : probability) one /= sum;
    FillAliasTable(probability, kSlotBits, &entries_[static_cast<std::size_t>(t) * kSlots]);
  }
}

std::uint32_t PoissonTable::Rest(std::uint32_t bits, float mean) {
  const double u = (static_cast<double>(bits) + 0.5) * 0x1p-32;
  double p = std::exp(-static_cast<double>(mean));
  double sum = p;
  std::uint32_t n = 0;
  while (u > sum && n < 32) {
    ++n;
    p *= static_cast<double>(mean) / n;
    sum += p;
  }
  return n;
}

}  // namespace orq
