// What OpenCV does of the same, on one thread.
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "FrameBench.h"

namespace orq {
namespace {

using bench::CountBytes;
using bench::Frame;
using bench::SizeOf;
using bench::Sizes;

// Calls `step` with a frame of 8-bit samples and one that it may write to, `channels` bytes for each.
template <class Step>
void Run(benchmark::State& state, int channels, const Step& step) {
  cv::setNumThreads(1);
  const auto [width, height] = SizeOf(state);
  auto samples = Frame<std::uint8_t>({width, height});
  const cv::Mat in(height, width, CV_8UC1, samples.data());
  cv::Mat out(height, width, CV_8UC(channels), cv::Scalar(1));  // the system has handed out its pages
  for (auto _ : state) {
    step(in, out);
    benchmark::ClobberMemory();
  }
  CountBytes(state, samples.size());
}

void Subtract(benchmark::State& state) {
  cv::Mat dark(SizeOf(state).height, SizeOf(state).width, CV_8UC1, cv::Scalar(7));
  Run(state, 1, [&](const cv::Mat& in, cv::Mat& out) { cv::subtract(in, dark, out); });
}
BENCHMARK(Subtract)->Name("opencv subtract/8")->Apply(Sizes);

void Lut(benchmark::State& state) {
  cv::Mat table(1, 256, CV_8UC1);
  for (int i = 0; i < 256; ++i) table.at<std::uint8_t>(i) = static_cast<std::uint8_t>(i * 7);
  Run(state, 1, [&](const cv::Mat& in, cv::Mat& out) { cv::LUT(in, table, out); });
}
BENCHMARK(Lut)->Name("opencv lut/8")->Apply(Sizes);

void Demosaic(benchmark::State& state) {
  Run(
      state, 3, [](const cv::Mat& in, cv::Mat& out) { cv::demosaicing(in, out, cv::COLOR_BayerRG2BGR); });
}
BENCHMARK(Demosaic)->Name("opencv demosaic/8")->Apply(Sizes);

void Flip(benchmark::State& state) {
  Run(
      state, 1, [](const cv::Mat& in, cv::Mat& out) { cv::flip(in, out, -1); });
}
BENCHMARK(Flip)->Name("opencv flip both/8")->Apply(Sizes);

}  // namespace
}  // namespace orq
