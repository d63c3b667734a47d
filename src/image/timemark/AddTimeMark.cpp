// Printing the time into delivered frames.
#include <cstddef>
#include <ctime>

#include "camera/CameraBase.h"
#include "image/timemark/TimeMark.h"

void CCameraBase::AddTimeMark(unsigned char* buffer, int width, IMAGE_TYPE type) {
  const int height = iHeight;
  const bool known = type == IMAGE_ONE_BYTE || type == IMAGE_THREE_BYTES;
  if (!known || buffer == nullptr || width <= 0 || height <= 0) return;
  ::tzset();  // localtime_r need not notice a changed time zone
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (::localtime_r(&now, &local) == nullptr) return;
  const int channels = type == IMAGE_ONE_BYTE ? 1 : 3;
  const std::size_t bytes =
      static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * static_cast<std::size_t>(channels);
  orq::DrawMark({{buffer, bytes}, width, height, channels}, orq::MarkTextOf(local));
}
