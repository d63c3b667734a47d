#include "live/page/Page.h"
#include "live/routes/Routes.h"

namespace orq::network {

void addPageRoutes(Router& router) {
  for (const PageFile& file : pageFiles()) {
    router.add(
        "GET", file.path,
        [&file](const Request&) {
          Response response;
          response.headers = {{"Content-Type", file.type}};
          response.body = SharedBytes{nullptr, file.data, file.size};
          return response;
        });
  }
}

}  // namespace orq::network
