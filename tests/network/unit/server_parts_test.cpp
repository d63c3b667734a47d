// Routes, turns, workers.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <orqcam/orqcam.hpp>
#include <string>
#include <thread>
#include <utility>

#include "cameras/CaptureTurns.h"
#include "http/Guard.h"
#include "http/Router.h"
#include "http/Workers.h"

namespace orq::network {
namespace {

using namespace std::chrono_literals;

Response answerOf(const Router& router, const std::string& method, const std::string& path) {
  if (std::optional<Response> refusal = router.refuse(method, path)) return *refusal;
  Request request;
  request.method = method;
  request.path = path;
  Response got;
  router.handle(std::move(request), Responder([&got](Response answer) { got = std::move(answer); }));
  return got;
}

TEST(Router, FindsTheFirstRouteAndFillsItsNames) {
  Router router;
  const auto tell = [](const char* name) {
    return [name](const Request& request) { return Response::text(200, "text/plain", request.capture(name)); };
  };
  router.add("GET", "/a/{x}", tell("x"));
  router.add("PUT", "/a/{x}", tell("x"));
  router.add("GET", "/files/{rest...}", tell("rest"), Door::alpaca);
  EXPECT_EQ(std::get<std::string>(answerOf(router, "GET", "/a/7").body), "7");
  EXPECT_EQ(std::get<std::string>(answerOf(router, "GET", "/files/b/c").body), "b/c");
  EXPECT_EQ(answerOf(router, "GET", "/a").status, 404);
  EXPECT_EQ(answerOf(router, "GET", "/a/7/8").status, 404);
  EXPECT_EQ(answerOf(router, "GET", "/files").status, 404);
  const Response refusal = answerOf(router, "POST", "/a/7");
  EXPECT_EQ(refusal.status, 405);
  EXPECT_EQ(refusal.headers.back(), (std::pair<std::string, std::string>("Allow", "GET, PUT")));
  EXPECT_EQ(router.doorOf("/files/x"), Door::alpaca);
  EXPECT_EQ(router.doorOf("/nothing"), Door::own);
}

TEST(Router, AnswersWhatAHandlerThrowsOrForgets) {
  Router router;
  router.add(
      "GET", "/busy", [](const Request&) -> Response { throw BusyError("wait"); });
  router.add("GET", "/broken", [](const Request&) -> Response { throw std::runtime_error("oh"); });
  router.addWaiting("GET", "/forgotten", [](const Request&, const Responder&) {});
  const Response busy = answerOf(router, "GET", "/busy");
  EXPECT_EQ(busy.status, 409);
  const auto told = nlohmann::json::parse(std::get<std::string>(busy.body));
  EXPECT_EQ(told["error"]["name"], "busy");
  EXPECT_EQ(told["error"]["text"], "wait");
  EXPECT_EQ(answerOf(router, "GET", "/broken").status, 500);
  EXPECT_EQ(answerOf(router, "GET", "/forgotten").status, 500);
}

TEST(CaptureTurns, AViewGivesWayToAnExposureAndAnExposureToNobody) {
  CaptureTurns turns;
  std::atomic<bool> viewing{false};
  std::thread viewer([&] {
    CaptureTurns::Turn turn = turns.take(Purpose::view);
    viewing = true;
    while (!turn.isWanted()) std::this_thread::sleep_for(1ms);
  });
  while (!viewing) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(turns.holder(), Purpose::view);
  {
    const CaptureTurns::Turn exposure = turns.take(Purpose::exposure, 1min);
    viewer.join();
    EXPECT_EQ(turns.holder(), Purpose::exposure);
    EXPECT_THROW(turns.take(Purpose::recording, 1min), BusyError);  // at once
    EXPECT_THROW(turns.take(Purpose::view, 1ms), BusyError);
  }
  EXPECT_EQ(turns.holder(), std::nullopt);
  const CaptureTurns::Turn view = turns.take(Purpose::view, 1ms);
  EXPECT_FALSE(view.isWanted());
  EXPECT_THROW(turns.take(Purpose::exposure, 1ms), BusyError);  // a view that does not give way
}

TEST(CaptureTurns, AChangeAndAnExposureKeepOutOfEachOthersWay) {
  CaptureTurns turns;
  std::atomic<bool> changing{false};
  std::atomic<bool> go{false};
  std::atomic<int> changes{0};
  const auto change = [&] {
    turns.change("the region", [&] {
      EXPECT_FALSE(changing.exchange(true)) << "two change at a time";
      while (!go) std::this_thread::sleep_for(1ms);
      changing = false;
      ++changes;
    });
  };
  std::thread first(change);
  while (!changing) std::this_thread::sleep_for(1ms);
  std::thread second(change);
  EXPECT_THROW(turns.take(Purpose::exposure, 1ms), BusyError);
  EXPECT_THROW(turns.take(Purpose::view, 1ms), BusyError);
  EXPECT_EQ(changes, 0);
  go = true;
  first.join();
  second.join();
  EXPECT_EQ(changes, 2);
  EXPECT_THROW(turns.change("the region", [] { throw RangeError("too wide"); }), RangeError);
  {
    const CaptureTurns::Turn view = turns.take(Purpose::view, 1min);
    turns.change("the region", [&] { ++changes; });
  }
  const CaptureTurns::Turn exposure = turns.take(Purpose::exposure, 1min);
  EXPECT_THROW(turns.change("the region", [&] { ++changes; }), BusyError);
  EXPECT_EQ(changes, 3);
}

TEST(Workers, HaveALineOfBoundedLengthAndAnEnd) {
  Workers workers(1, 2);
  std::atomic<bool> go{false};
  std::atomic<bool> begun{false};
  std::atomic<int> done{0};
  ASSERT_TRUE(workers.run([&] {
    begun = true;
    while (!go) std::this_thread::sleep_for(1ms);
    ++done;
  }));
  while (!begun) std::this_thread::sleep_for(1ms);
  EXPECT_TRUE(workers.run([&] { ++done; }));
  EXPECT_TRUE(workers.run([&] { ++done; }));
  EXPECT_FALSE(workers.run([&] { ++done; }));
  go = true;
  while (done < 3) std::this_thread::sleep_for(1ms);
  workers.end();
  EXPECT_FALSE(workers.run([&] { ++done; }));
  EXPECT_EQ(done, 3);
}

TEST(Workers, LetGoOfWorkThatBringsMoreWorkAsItGoes) {
  Workers workers(1, 2);
  std::atomic<bool> done{false};
  std::shared_ptr<void> leaving(nullptr, [&](void*) { workers.run([&] { done = true; }); });
  ASSERT_TRUE(workers.run([leaving = std::move(leaving)] {}));
  while (!done) std::this_thread::sleep_for(1ms);
}

TEST(Guard, ComparesSecretsWhole) {
  EXPECT_TRUE(sameSecret("abc", "abc"));
  for (const char* const wrong : {"", "ab", "abcd", "abd", "abcabc"}) {
    EXPECT_FALSE(sameSecret("abc", wrong)) << wrong;
    EXPECT_FALSE(sameSecret(wrong, "abc")) << wrong;
  }
}

}  // namespace
}  // namespace orq::network
