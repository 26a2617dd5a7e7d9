#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/ConvertingFile.h"
#include "platform/RealTime.h"

namespace orvane::test {

/// Makes files 1, 2, 3, … and grants everything, until a test scripts a call otherwise.
class ScriptedConvertingFile : public platform::ConvertingFile {
 public:
  using Status = platform::Status;

  ScriptedConvertingFile() {
    ON_CALL(*this, create).WillByDefault([this](auto&&, auto, auto&&, auto, auto, Handle& file) {
      file = static_cast<Handle>(++mCreated);
      return platform::status::success;
    });
  }

  MOCK_METHOD(Status, create,
              (const std::string& path, std::uint32_t fileType, const platform::StreamDescription& dataFormat,
               const platform::ChannelLayout* layout, ExistingFile existing, Handle& file),
              (override));
  MOCK_METHOD(Status, setClientDataFormat, (Handle file, const platform::StreamDescription& format), (override));
  MOCK_METHOD(Status, prime, (Handle file));
  MOCK_METHOD(Status, dispose, (Handle file), (override));

  /// Kept by hand, because it is called on the device callback: one entry a write. What comes without a list is
  /// `prime`.
  Status writeAsync(Handle file, std::uint32_t frames, platform::RenderBufferList* list) override {
    if (list == nullptr && frames == 0) return prime(file);
    const platform::RealTimeExemption exemption;
    Write& write = writes.emplace_back(Write{static_cast<int>(file), {}});
    for (const platform::RenderBuffer& entry : list->buffers()) {
      EXPECT_TRUE(entry.channels == 1 && entry.byteSize == frames * sizeof(float));
      const auto* samples = static_cast<const float*>(entry.data);
      write.samples.emplace_back(samples, samples + frames);
    }
    return writeStatus;
  }

  struct Write {
    int file;
    std::vector<std::vector<float>> samples;  ///< A vector for each channel.

    bool operator==(const Write&) const = default;
  };
  std::vector<Write> writes;
  Status writeStatus = platform::status::success;

 private:
  std::uint32_t mCreated = 0;
};

}  // namespace orvane::test
