// What a program or a page wants to know at a glance.
#pragma once

#include "cameras/Cameras.h"
#include "http/Router.h"

namespace orq::network {

/// GET /api/v1/state: version, cameras, what each does. `cameras` must live as long as the routes.
void addStateRoutes(Router& router, const Cameras& cameras);

}  // namespace orq::network
