// SPDX-License-Identifier: MIT
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/SettingsCheck.h"
#include "platform/host/audio/AlignedSamples.h"

namespace orvane {

namespace {

constexpr std::uint32_t sliceFrames = 512;
/// The number of slices after which reading stops: a file of a few bytes may claim to contain any number of compressed
/// frames.
constexpr int maxSlices = 256;

/// The first bytes of some file types. The first byte of the fuzzer's input selects one of them as the beginning of the
/// file, so that many inputs pass the check of the file type.
constexpr std::array<std::string_view, 9> beginnings = {
    "",
    std::string_view("RIFF\xFF\xFF\xFF\x7FWAVEfmt \x10\0\0\0", 20),
    std::string_view("RF64\xFF\xFF\xFF\xFFWAVEds64\x1C\0\0\0", 20),
    std::string_view("FORM\x7F\xFF\xFF\xFF\x41IFFCOMM\0\0\0\x12", 20),
    std::string_view("caff\0\1\0\0desc\0\0\0\0\0\0\0\x20", 20),
    std::string_view("fLaC\0\0\0\x22", 8),
    std::string_view(".snd\0\0\0\x18\xFF\xFF\xFF\xFF\0\0\0\x03", 16),
    std::string_view("riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\0\0", 16),
    std::string_view("RIFF\xFF\xFF\xFF\xFFWAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x80\x3E\0\0\2\0\x10\0data", 40),
};

void readToTheEnd(simulated::Microphone& microphone) {
  const auto format = microphone.format().value();
  fuzz::require(format.rate >= 1 && format.rate <= simulated::DeviceSettings::maxRate);
  fuzz::require(format.channels >= 1 && format.channels <= backend::DeviceFormat::maxChannels);
  microphone.prepare(format.rate, 0);
  host::AlignedSamples samples(format.channels, sliceFrames);
  for (int slice = 0; slice < maxSlices && !microphone.atEnd(); ++slice) {
    const std::uint32_t read = microphone.read(samples.planes(), sliceFrames);
    fuzz::require(read == sliceFrames || (read < sliceFrames && microphone.atEnd()));
    const auto failure = microphone.failure();
    fuzz::require(!failure || (microphone.atEnd() && failure->status != 0 && !failure->reason.empty()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string content(beginnings[data[0] % beginnings.size()]);
  content.append(reinterpret_cast<const char*>(data) + 1, size - 1);

  const int file = memfd_create("sound", MFD_CLOEXEC);
  fuzz::require(file >= 0 && write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
  try {
    readToTheEnd(*simulated::makeMicrophone({"/proc/self/fd/" + std::to_string(file), "mic"}));
  } catch (const platform::PlatformException& refusal) {
    fuzz::require(refusal.reason().starts_with("mic"));
  }
  close(file);
  return 0;
}

}  // namespace orvane
