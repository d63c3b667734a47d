#include "link/usb/LibusbPipe.h"

#include <libusb-1.0/libusb.h>

#include <new>

#include "link/WireProtocol.h"

namespace orq {
namespace {

static_assert(static_cast<int>(TransferStatus::Completed) == LIBUSB_TRANSFER_COMPLETED);
static_assert(static_cast<int>(TransferStatus::Error) == LIBUSB_TRANSFER_ERROR);
static_assert(static_cast<int>(TransferStatus::TimedOut) == LIBUSB_TRANSFER_TIMED_OUT);
static_assert(static_cast<int>(TransferStatus::Cancelled) == LIBUSB_TRANSFER_CANCELLED);
static_assert(static_cast<int>(TransferStatus::Stall) == LIBUSB_TRANSFER_STALL);
static_assert(static_cast<int>(TransferStatus::NoDevice) == LIBUSB_TRANSFER_NO_DEVICE);
static_assert(static_cast<int>(TransferStatus::Overflow) == LIBUSB_TRANSFER_OVERFLOW);

/// A transfer with a buffer that the kernel fills without a copy where it can, otherwise from the heap.
class LibusbTransfer : public BulkTransfer {
 public:
  LibusbTransfer(libusb_device_handle* handle, int bytes) : handle_(handle), transfer_(libusb_alloc_transfer(0)) {
    if (transfer_ == nullptr) return;
    buffer = libusb_dev_mem_alloc(handle, static_cast<std::size_t>(bytes));
    if (buffer == nullptr) {
      heap_.reset(new (std::align_val_t{kAlignment}, std::nothrow) std::uint8_t[static_cast<std::size_t>(bytes)]);
      buffer = heap_.get();
    }
    capacity = bytes;
    // No time-out: an exposure may take as long as it likes.
    libusb_fill_bulk_transfer(transfer_, handle, wire::kFrameEndpoint, buffer, bytes, &LibusbTransfer::Completed,
                              this, 0);
  }

  ~LibusbTransfer() override {
    if (buffer != nullptr && !heap_) libusb_dev_mem_free(handle_, buffer, static_cast<std::size_t>(capacity));
    libusb_free_transfer(transfer_);
  }

  LibusbTransfer(const LibusbTransfer&) = delete;
  LibusbTransfer& operator=(const LibusbTransfer&) = delete;

  bool Usable() const { return transfer_ != nullptr && buffer != nullptr; }
  libusb_transfer* Native() const { return transfer_; }

 private:
  static constexpr std::size_t kAlignment = 4096;
  struct FreeAligned {
    void operator()(std::uint8_t* bytes) const { ::operator delete[](bytes, std::align_val_t{kAlignment}); }
  };

  static void LIBUSB_CALL Completed(libusb_transfer* native) {
    auto& self = *static_cast<LibusbTransfer*>(native->user_data);
    self.actual = native->actual_length;
    self.status = static_cast<TransferStatus>(native->status);
    self.onComplete(self);
  }

  libusb_device_handle* handle_;
  libusb_transfer* transfer_;
  std::unique_ptr<std::uint8_t[], FreeAligned> heap_;
};

}  // namespace

std::unique_ptr<BulkTransfer> LibusbPipe::MakeTransfer(int bytes) {
  if (handle_ == nullptr) return nullptr;
  auto transfer = std::make_unique<LibusbTransfer>(handle_, bytes);
  if (!transfer->Usable()) return nullptr;
  return transfer;
}

UsbError LibusbPipe::Submit(BulkTransfer& transfer) {
  return static_cast<UsbError>(libusb_submit_transfer(static_cast<LibusbTransfer&>(transfer).Native()));
}

void LibusbPipe::Cancel(BulkTransfer& transfer) {
  // A transfer that is not in flight answers "not found", which is as good.
  libusb_cancel_transfer(static_cast<LibusbTransfer&>(transfer).Native());
}

UsbError LibusbPipe::ClearHalt() {
  if (handle_ == nullptr) return kUsbNoDevice;
  return static_cast<UsbError>(libusb_clear_halt(handle_, wire::kFrameEndpoint));
}

bool LibusbPipe::Gone() {
  if (handle_ == nullptr) return true;
  // A device that is no longer authorised stays in the system without a configuration.
  int configuration = 0;
  const int error = libusb_get_configuration(handle_, &configuration);
  if (error == LIBUSB_SUCCESS) return configuration != wire::kConfiguration;
  return error == LIBUSB_ERROR_NO_DEVICE || error == LIBUSB_ERROR_NOT_FOUND;
}

}  // namespace orq
