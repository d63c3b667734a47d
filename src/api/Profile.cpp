// What the user states once for the files of all programs.
#include "session/files/Profile.h"

#include <cmath>
#include <optional>
#include <utility>

#include "api/Handles.h"
#include "api/Structs.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

using session::Profile;
using session::ProfileField;

std::optional<double> Stated(double number) {
  return std::isnan(number) ? std::nullopt : std::optional(number);
}

orq_profile StructOf(const Profile& profile) {
  orq_profile given{};
  CopyText(profile.Text(ProfileField::Observer), given.observer);
  CopyText(profile.Text(ProfileField::Telescope), given.telescope);
  CopyText(profile.Text(ProfileField::Filter), given.filter);
  CopyText(profile.Text(ProfileField::Site), given.site);
  given.focal_length_mm = OrUnknown(profile.Number(ProfileField::FocalLengthMm));
  given.latitude_deg = OrUnknown(profile.Number(ProfileField::LatitudeDeg));
  given.longitude_deg = OrUnknown(profile.Number(ProfileField::LongitudeDeg));
  given.elevation_m = OrUnknown(profile.Number(ProfileField::ElevationM));
  return given;
}

Profile ProfileOf(const orq_profile& given) {
  Profile profile;
  profile.SetText(ProfileField::Observer, TextOf(given.observer, "profile.observer"));
  profile.SetText(ProfileField::Telescope, TextOf(given.telescope, "profile.telescope"));
  profile.SetText(ProfileField::Filter, TextOf(given.filter, "profile.filter"));
  profile.SetText(ProfileField::Site, TextOf(given.site, "profile.site"));
  profile.SetNumber(ProfileField::FocalLengthMm, Stated(given.focal_length_mm));
  profile.SetNumber(ProfileField::LatitudeDeg, Stated(given.latitude_deg));
  profile.SetNumber(ProfileField::LongitudeDeg, Stated(given.longitude_deg));
  profile.SetNumber(ProfileField::ElevationM, Stated(given.elevation_m));
  return profile;
}

}  // namespace

orq_status orq_profile_get(orq_profile* profile) {
  return Guarded([&] {
    DemandStruct(profile, "profile");
    GiveStruct(StructOf(Profile::Load(Profile::UsersPath())), profile);
  });
}

orq_status orq_profile_set(const orq_profile* profile) {
  return Guarded([&] { ProfileOf(TakeStruct(profile, "profile")).Save(Profile::UsersPath()); });
}

orq_status orq_profile_clear(void) {
  return Guarded([] { Profile::Remove(Profile::UsersPath()); });
}

orq_status orq_profile_apply(orq_camera* camera) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const Profile profile = Profile::Load(Profile::UsersPath());
    const session::Camera::Use device(*opened);  // after the file, which may be slow to read
    opened->ChangeOrigin([&](session::FrameOrigin& origin) {
      session::FileContext& context = origin.context;
      if (context.observer.empty()) context.observer = profile.Text(ProfileField::Observer);
      for (session::Keyword& keyword : profile.KeywordsBeside(context.keywords))
        context.keywords.push_back(std::move(keyword));
    });
  });
}
