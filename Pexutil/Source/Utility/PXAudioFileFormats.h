// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/Platform.h"
#include "platform/StreamDescription.h"

/// A catalogue of the audio file types that the host can write.
///
/// Building never fails: what the host does not answer stays empty. Without the services for files and formats the
/// catalogue is empty. Thread-safe once it is built; not real-time safe.
class ORVANE_EXPORT PXAudioFileFormats {
 public:
  /// A data format that a file type can hold.
  struct DataFormatEntry {
    std::uint32_t formatID = 0;  ///< A four-character code.
    std::int32_t variantCount = 0;
    std::unique_ptr<orvane::platform::StreamDescription[]> variants;  ///< Null if there are none.
    bool readable = false;     ///< Linear PCM, or a format that the host decodes.
    bool writable = false;     ///< Linear PCM, or a format that the host encodes.
    bool bothEndians = false;  ///< Variants of more than 8 bits exist in both byte orders.
  };

  /// A file type that can be written.
  struct FileTypeEntry {
    std::uint32_t fileType = 0;                                  ///< A four-character code.
    std::shared_ptr<const std::string> name;                     ///< For display; null if the host gives none.
    std::shared_ptr<const std::vector<std::string>> extensions;  ///< Without the dot; null if the host gives none.
    std::int32_t dataFormatCount = 0;                            ///< 0 unless data formats were loaded.
    std::unique_ptr<DataFormatEntry[]> dataFormats;              ///< Null unless data formats were loaded.
  };

  /// Returns the catalogue of the process, which the first call builds from the host in use (`platform::current`) and
  /// which lives until the process ends. `loadDataFormats` is honoured by the first call only. The first call must not
  /// overlap with another. Throws what `platform::current` throws.
  static const PXAudioFileFormats& Instance(bool loadDataFormats);

  /// Builds a catalogue of the given services.
  PXAudioFileFormats(const orvane::platform::Platform& services, bool loadDataFormats);

  /// Finds the file type for a file name by its extension, which is the text after the last dot, in any letter case. If
  /// several types have the extension, the first in the order of `types` is taken. Returns false, and leaves `fileType`
  /// unchanged, if no type matches or `name` is null, has no dot or is not valid UTF-8.
  bool InferFileFormatFromFilename(const char* name, std::uint32_t& fileType) const;

  /// Returns whether `left` comes before `right`: compares the names without regard to letter case, in the order of the
  /// user's locale. Entries without a name come last.
  static bool CompareFileFormatNames(const FileTypeEntry& left, const FileTypeEntry& right);

  std::int32_t typeCount = 0;
  std::unique_ptr<FileTypeEntry[]> types;  ///< In the order of `CompareFileFormatNames`; null if there are none.
};
