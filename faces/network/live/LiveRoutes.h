// The page and what it asks for.
#pragma once

#include "http/Router.h"
#include "live/Live.h"

namespace orq::network {

/// Adds the page at "/" and everything below /api/v1/cameras/{camera}/ and /api/v1/files. `live` must live as long
/// as the routes.
void addLiveRoutes(Router& router, Live& live);

}  // namespace orq::network
