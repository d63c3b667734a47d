#include "session/files/FrameSaver.h"

#include <unistd.h>

#include <utility>

#include "session/Failure.h"
#include "session/files/RawDescription.h"
#include "session/fits/FitsFile.h"
#include "session/pictures/PngPreview.h"

namespace orq::session {

FrameSaver::FrameSaver(SaveOptions options) : options_(std::move(options)) {}

NameFacts NameFactsOf(const FrameFacts& frame) {
  const FileContext& context = ContextOf(frame);
  const FrameInfo& info = frame.info;
  NameFacts facts;
  facts.number = frame.number;
  facts.unixUs = info.times.begin / kTenthsPerMicrosecond;
  facts.camera = context.shortModel;
  facts.serial = context.serial;
  facts.object = context.object;
  facts.imageType = ImageTypeName(context.imageType);
  facts.format = FormatName(info.region.format);
  facts.exposureUs = info.exposureUs;
  facts.gain = info.gain;
  facts.offset = info.offset;
  facts.bin = info.region.bin;
  return facts;
}

SavedFrame FrameSaver::NamesFor(const FrameFacts& frame) const {
  SavedFrame names;
  names.file = options_.pattern.Expand(NameFactsOf(frame));
  const FileKind kind = options_.pattern.Kind();
  if (kind == FileKind::Raw) names.sidecar = WithExtension(names.file, ".json");
  if (options_.preview && kind != FileKind::Png) names.companion = WithExtension(names.file, ".png");
  return names;
}

void FrameSaver::CheckBeforehand(FrameFacts frame, std::uint64_t count,
                                 const std::function<bool()>& mayGoOn) const {
  WriteChecker checker(options_.existing);
  for (frame.number = 1; frame.number <= count && mayGoOn(); ++frame.number) {
    const SavedFrame names = NamesFor(frame);
    for (const std::string& path : {names.file, names.companion, names.sidecar})
      if (!path.empty()) checker.Check(path);
  }
}

void FrameSaver::Write(const std::string& path, std::span<const std::uint8_t> bytes) const {
  WriteWholeFile(path, bytes, options_.existing, options_.durability);
}

void FrameSaver::WriteRaw(const SavedFrame& names, std::span<const std::uint8_t> pixels,
                          const FrameFacts& frame) const {
  Write(names.file, pixels);
  try {
    Write(names.sidecar, DescribeRaw(frame));
  } catch (const Failure&) {
    unlink(names.file.c_str());  // pixels without their geometry are half a frame
    throw;
  }
}

SavedFrame FrameSaver::Save(std::span<const std::uint8_t> pixels, const FrameFacts& frame) const {
  SavedFrame names = NamesFor(frame);
  switch (options_.pattern.Kind()) {
    case FileKind::Fits:
      Write(names.file, EncodeFits(pixels, frame, FitsForm::Plain));
      break;
    case FileKind::CompressedFits:
      Write(names.file, EncodeFits(pixels, frame, FitsForm::Compressed));
      break;
    case FileKind::Png:
      Write(names.file, EncodePreview(pixels, frame.info));
      break;
    case FileKind::Raw:
      WriteRaw(names, pixels, frame);
      break;
    case FileKind::Ser:
    case FileKind::Folder:
      throw Failure(Status::Invalid, "one frame is not saved as a SER file: record a video");
  }
  if (names.companion.empty()) return names;
  try {
    Write(names.companion, EncodePreview(pixels, frame.info));
  } catch (const Failure& failure) {
    names.companion.clear();
    names.trouble = failure.what();
  }
  return names;
}

}  // namespace orq::session
