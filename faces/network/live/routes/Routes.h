// The routes of the live page, room by room.
#pragma once

#include "http/Router.h"
#include "live/Live.h"

namespace orq::network {

/// The page itself: GET / and /page/{file}.
void addPageRoutes(Router& router);
/// Pictures, measures, state of a camera.
void addViewRoutes(Router& router, Live& live);
/// Controls, region, cooler, corrections.
void addSettingRoutes(Router& router, Live& live);
/// Exposures, recordings, darks, focus: what goes on for a while.
void addWorkRoutes(Router& router, Live& live);
/// What was recorded.
void addFileRoutes(Router& router, Live& live);

}  // namespace orq::network
