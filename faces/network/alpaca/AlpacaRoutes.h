// Alpaca: the standard by which programs of the field use devices over HTTP.
#pragma once

#include <memory>

#include "cameras/Cameras.h"
#include "http/Router.h"

namespace orq::network::alpaca {

/// The devices of all cameras. Made as cameras come; a device stays, whether its camera is there or not.
class Devices;

/// Adds device interface, management interface and setup pages. `cameras` and what is returned must live as long
/// as the routes. Last of all routes: it answers for every kind of device, also for those that it does not have.
std::shared_ptr<Devices> addAlpacaRoutes(Router& router, const Cameras& cameras);

}  // namespace orq::network::alpaca
