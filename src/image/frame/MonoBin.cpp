// Monochrome binning: the host's flag, and the FPGA's switch where the FPGA bins.
#include "camera/CameraBase.h"
#include "link/WireProtocol.h"

namespace {

constexpr unsigned char kColourBin = 0x80;

}  // namespace

void CCameraBase::SetMonoBin(bool on) {
  if (fpgaBin != 0) SetFPGABinType(on);
  monoBin = on ? 1 : 0;
}

bool CCameraBase::GetMonoBin() {
  if (fpgaBin != 0) {
    unsigned char state = 0;
    ReadFPGAREG(orq::wire::kFpgaMonoBin, &state);
    monoBin = (state & kColourBin) == 0 ? 1 : 0;
  }
  return monoBin != 0;
}
