// The stars of frames through the C and the C++ interface.
#include <cmath>

#include "Camera.h"
#include "orqcam/orqcam.hpp"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::kPatienceMs;

// The bright stars of a colour sensor show in two seconds.
orq::Camera Sky() {
  return orq::Camera("virtual:k1c,timescale=0.01,scene=stars");
}

orq::Frame Exposed(orq::Camera& camera) {
  return camera.expose(std::chrono::seconds(2));
}

TEST(Stars, OfTheVirtualSkyAreAsWideAsItDrawsThem) {
  orq::Camera camera = Sky();
  const orq::Frame frame = Exposed(camera);
  const orq::Stars found = frame.stars();
  EXPECT_GT(found.summary.stars, 20);
  ASSERT_EQ(found.summary.listed, static_cast<int32_t>(found.stars.size()));
  // Its stars are 2.5 pixels wide, those of a colour sensor a little more: see orq_frame_find_stars.
  EXPECT_GT(found.summary.fwhm, 2.3);
  EXPECT_LT(found.summary.fwhm, 3.3);
  EXPECT_GT(found.summary.hfr, 1.2);
  EXPECT_LT(found.summary.hfr, 2.2);
  for (std::size_t i = 1; i < found.stars.size(); ++i) {
    EXPECT_LE(found.stars[i].peak, 65'535.0);
    EXPECT_GT(found.stars[i].flux, 0.0);
  }
}

TEST(Stars, HaveAScaleWhereTheFocalLengthIsKnown) {
  orq::Camera camera = Sky();
  EXPECT_TRUE(std::isnan(Exposed(camera).stars().summary.arcsec_per_pixel));
  orq::check(orq_keyword_set(camera.get(), "FOCALLEN=750.0"));
  const double pixelUm = camera.info().pixel_um;
  EXPECT_NEAR(Exposed(camera).stars().summary.arcsec_per_pixel, 206.265 * pixelUm / 750.0, 1e-4);
}

TEST(Stars, OfAnAreaLieInIt) {
  orq::Camera camera = Sky();
  const orq::Frame frame = Exposed(camera);
  auto area = orq::sized<orq_area>();
  area.x = 301;
  area.y = 203;
  area.width = 500;
  area.height = 400;
  const orq::Stars found = frame.stars(area);
  ASSERT_GT(found.summary.stars, 0);
  EXPECT_LT(found.summary.stars, frame.stars().summary.stars);
  for (const orq_star& star : found.stars) {
    EXPECT_TRUE(star.x >= 301 && star.x < 801) << star.x;
    EXPECT_TRUE(star.y >= 203 && star.y < 603) << star.y;
  }
  area.width = frame.width();
  EXPECT_THROW(frame.stars(area), orq::InvalidError);
}

TEST(Stars, AreSharpestWhereTheFocusMotorHasItsBestPlace) {
  orq::Camera camera("virtual:h53m,timescale=0.01,focus=400");
  std::vector<double> radii;
  for (const int position : {100, 250, 400, 550}) {
    camera.focus(position);
    radii.push_back(Exposed(camera).stars().summary.hfr);
  }
  EXPECT_GT(radii[0], 1.3 * radii[1]);
  EXPECT_GT(radii[1], 1.3 * radii[2]);
  EXPECT_NEAR(radii[1], radii[3], 0.1 * radii[1]) << "150 steps to either side";
}

TEST(Stars, AreListedAsFarAsTheyGo) {
  const ApiCamera camera;
  camera.Corner();
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK);
  orq_star_list* stars = nullptr;
  ASSERT_EQ(orq_frame_find_stars(frame.frame, nullptr, &stars), ORQ_OK) << orq_last_error();
  orq_star_summary summary{};
  summary.size = sizeof summary;
  ASSERT_EQ(orq_star_list_get_summary(stars, &summary), ORQ_OK);
  EXPECT_EQ(summary.stars, 0) << "even light shows none";
  EXPECT_TRUE(std::isnan(summary.hfr));
  orq_star star{};
  star.size = sizeof star;
  EXPECT_EQ(orq_star_list_get(stars, 0, &star), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_star_list_get(stars, -1, &star), ORQ_ERROR_RANGE);
  orq_star_list_release(stars);
}

}  // namespace
}  // namespace orq
