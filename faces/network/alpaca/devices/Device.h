// What all Alpaca devices have in common.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "alpaca/protocol/Answer.h"
#include "alpaca/protocol/Call.h"
#include "cameras/CameraSlot.h"
#include "http/Message.h"

namespace orq::network::alpaca {

using Json = nlohmann::json;

/// A device of one camera, shared by all clients. Whether a client is connected is its own matter, as the number
/// that it calls itself tells: one that disconnects takes the camera from nobody. Any thread.
class Device {
 public:
  explicit Device(std::shared_ptr<CameraSlot> slot);
  virtual ~Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  /// Answers `method`, which a client has called with GET or PUT.
  virtual Response answer(const std::string& method, const Request& request);

  virtual const char* type() const = 0;  ///< "Camera"
  virtual std::string name() const = 0;
  /// The same for this device for ever, and for no other one.
  std::string uniqueId() const;
  int number() const { return slot_->index(); }

 protected:
  /// Its value; nothing: it has none.
  using Method = std::function<std::optional<Json>(const Call&)>;
  enum class Needs { connection, nothing };
  void addGet(std::string_view name, Method method, Needs needs = Needs::connection);
  void addPut(std::string_view name, Method method, Needs needs = Needs::connection);
  /// What this kind of device never has.
  void addMissing(std::string_view name);

  virtual int interfaceVersion() const = 0;
  /// Name and value of what changes by itself. Those that are not known now are left out.
  virtual std::map<std::string, std::function<Json()>> stateValues() = 0;

  /// Throws CallError where the client is not connected, or the camera is not there.
  void demandConnected(const Call& call) const;
  std::shared_ptr<Camera> camera() const { return slot_->camera(); }
  orq_camera_info info() const;
  CameraSlot& slot() const { return *slot_; }

 private:
  struct Entry {
    Method method;
    Needs needs;
  };
  using Table = std::map<std::string, Entry, std::less<>>;

  void addCommon();
  void setConnected(const Call& call, bool connected);
  bool isConnected(const Call& call) const;
  Json state();

  const std::shared_ptr<CameraSlot> slot_;
  Table gets_;
  Table puts_;
  mutable std::mutex mutex_;
  std::deque<std::uint32_t> clients_;  ///< that are connected; the one that connected last is the last
};

}  // namespace orq::network::alpaca
