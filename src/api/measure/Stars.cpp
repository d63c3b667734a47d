// The stars of frames.
#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/fits/FitsCards.h"
#include "session/frame/FrameOrigin.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr double kArcsecPerRadian = 206'264.806;
constexpr double kUmPerMm = 1000.0;

// The number of a card; NaN where there is none.
double NumberOf(const std::vector<session::FitsCard>& cards, std::string_view name) {
  const auto found = std::ranges::find(cards, name, &session::FitsCard::name);
  if (found == cards.end()) return kUnknown;
  if (const auto* real = std::get_if<double>(&found->value)) return *real;
  if (const auto* whole = std::get_if<std::int64_t>(&found->value)) return static_cast<double>(*whole);
  return kUnknown;
}

double ArcsecPerPixel(const SharedFrame& frame) {
  const auto cards = session::HeaderCards(session::FactsOf(frame));
  const double focalLengthMm = NumberOf(cards, "FOCALLEN");
  const double pixelUm = NumberOf(cards, "XPIXSZ");
  return focalLengthMm > 0.0 && pixelUm > 0.0 ? kArcsecPerRadian * pixelUm / (focalLengthMm * kUmPerMm) : kUnknown;
}

std::optional<session::FrameArea> AreaOf(const orq_area* area) {
  if (area == nullptr) return std::nullopt;
  const orq_area given = TakeStruct(area, "area");
  return session::FrameArea{given.x, given.y, given.width, given.height};
}

}  // namespace

orq_status orq_frame_find_stars(const orq_frame* frame, const orq_area* area, orq_star_list** stars) {
  return Guarded([&] {
    const SharedFrame& shared = DemandFrame(frame);
    const auto wanted = AreaOf(area);
    DemandResult(stars, "stars");
    auto made = std::make_unique<orq_star_list>();
    made->measures = session::MeasureStars(shared.Pixels(), shared.Info(), wanted);
    made->arcsecPerPixel = ArcsecPerPixel(shared);
    *stars = made.release();
  });
}

orq_status orq_star_list_get_summary(const orq_star_list* stars, orq_star_summary* summary) {
  return Guarded([&] {
    const orq_star_list& list = Demand(stars, "stars");
    const session::StarMeasures& measures = list.measures;
    DemandStruct(summary, "summary");
    orq_star_summary told{};
    told.stars = measures.count;
    told.listed = static_cast<int32_t>(measures.stars.size());
    told.measured = measures.measured;
    told.saturated = measures.saturated;
    told.hfr = measures.hfr;
    told.fwhm = measures.fwhm;
    told.arcsec_per_pixel = list.arcsecPerPixel;
    told.background = measures.background;
    told.noise = measures.noise;
    GiveStruct(told, summary);
  });
}

orq_status orq_star_list_get(const orq_star_list* stars, int32_t index, orq_star* star) {
  return Guarded([&] {
    const auto& listed = Demand(stars, "stars").measures.stars;
    DemandStruct(star, "star");
    if (index < 0 || static_cast<std::size_t>(index) >= listed.size())
      throw session::Failure(session::Status::Range,
                             "the list has " + std::to_string(listed.size()) + " stars, counted from 0");
    const session::MeasuredStar& found = listed[static_cast<std::size_t>(index)];
    GiveStruct({sizeof *star, found.saturated ? 1 : 0, found.cutOff ? 1 : 0, 0, found.x, found.y, found.flux,
                found.peak, found.hfr, found.fwhm},
               star);
  });
}

void orq_star_list_release(orq_star_list* stars) {
  Guarded([&] {
    if (stars == nullptr) return;
    Demand(stars, "stars").mark = 0;
    delete stars;
  });
}
