#include "live/LiveRoutes.h"

#include "live/routes/Routes.h"

namespace orq::network {

void addLiveRoutes(Router& router, Live& live) {
  addPageRoutes(router);
  addViewRoutes(router, live);
  addSettingRoutes(router, live);
  addWorkRoutes(router, live);
  addFileRoutes(router, live);
}

}  // namespace orq::network
