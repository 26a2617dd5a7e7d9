// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/ConvertingFile.h"
#include "platform/Export.h"
#include "platform/Status.h"
#include "platform/StreamDescription.h"

namespace orvane::platform {

/// Codes of the file types that the host reads and writes.
namespace sound_file_type {

inline constexpr std::uint32_t nativeContainer = ConvertingFile::nativeContainer;  ///< 'RF64'
inline constexpr std::uint32_t wave = 0x57415645;                                  ///< 'WAVE'
inline constexpr std::uint32_t aiff = 0x41494646;                                  ///< 'AIFF'
inline constexpr std::uint32_t aifc = 0x41494643;                                  ///< 'AIFC'
inline constexpr std::uint32_t au = 0x41552020;                                    ///< 'AU  '
inline constexpr std::uint32_t flac = 0x666C6163;                                  ///< 'flac'
inline constexpr std::uint32_t opus = 0x4F707573;                                  ///< 'Opus'

}  // namespace sound_file_type

/// The format identifier of FLAC packets, 'flac'. A stream description of this format has in `bitsPerChannel` the width
/// of the samples that were encoded (8 to 24), and in `framesPerPacket` the frames of every packet but the last.
inline constexpr std::uint32_t flacFormatID = 0x666C6163;
/// The format identifier of Opus packets, 'opus'. The rate is always 48000 Hz.
inline constexpr std::uint32_t opusFormatID = 0x6F707573;

/// Identifies an open sound file; `none` (0) is no file.
enum class SoundFile : std::uint32_t { none = 0 };

/// A data format that a file offers. 48 bytes; a file of the host offers exactly one.
struct SoundFileFormat {
  StreamDescription description;
  std::uint32_t layoutTag = 0;  ///< The tag of the channel layout; 0 for none.
  std::uint32_t reserved = 0;
};
static_assert(sizeof(SoundFileFormat) == 48);

/// Properties of an open sound file.
enum class SoundFileProperty : std::uint32_t {
  formatList = 1,            ///< An array of `SoundFileFormat`.
  channelLayout = 2,         ///< The bytes of a channel layout, see `SoundFileService`; size 0 if there is none.
  packetSizeUpperBound = 3,  ///< The size of the largest packet, in bytes (4 bytes); 0 if there is no packet.
  magicCookie = 4,           ///< The set-up data of the decoder; size 0 if the format needs none. Writable in a file
                             ///< that is being written, if its format has a cookie.
};

/// Items of information about the service itself, and the specifier with which each is requested.
enum class SoundFileInfo : std::uint32_t {
  writableTypes = 1,       ///< No specifier. An array of file type codes (4 bytes each).
  typeName = 2,            ///< A file type code. A `std::shared_ptr<const std::string>`.
  typeExtensions = 3,      ///< A file type code. A `std::shared_ptr<const std::vector<std::string>>`, without dots.
  dataFormatIDs = 4,       ///< A file type code. An array of format identifiers (4 bytes each).
  streamDescriptions = 5,  ///< A file type code and a format identifier (8 bytes). An array of `StreamDescription` with
                           ///< rate and channel count 0, which stands for any.
};

/// The service for sound files: reads and writes files packet by packet.
///
/// A packet is the smallest piece of a stream that can be decoded by itself: one frame of linear PCM, or the frames
/// that a codec compresses together. The service does not convert samples.
///
/// | Type | Data formats |
/// |---|---|
/// | RF64, WAVE | 'lpcm', little-endian: unsigned 8-bit, signed 16-, 24- and 32-bit, 32- and 64-bit float |
/// | AIFF | 'lpcm', big-endian: signed 8-, 16-, 24- and 32-bit |
/// | AIFC | 'lpcm', big-endian: as AIFF, and 32- and 64-bit float; little-endian: signed 16-bit |
/// | AU | 'lpcm', in either byte order: signed 8-, 16-, 24- and 32-bit, 32- and 64-bit float |
/// | flac | 'flac', 1 to 8 channels |
/// | Opus | 'opus', 1 or 2 channels to write and 1 to 8 to read |
///
/// Linear PCM is packed and interleaved, with 1 to 256 channels at a whole number of hertz from 1 to 6144000. RF64 and
/// WAVE files become RF64 when they exceed 4 GiB; an AIFF or AIFC file ends there with `ioFailure`. Linear PCM is also
/// read from the other files that libsndfile opens.
///
/// The bytes of a channel layout are the tag, the bitmap and the number of descriptions (4 bytes each), and for each
/// description its label, its flags and three coordinates (4 bytes each), in native byte order.
///
/// A file that is being written is valid whenever `writePackets` has returned, also if the process is killed. An Opus
/// file lacks its last packet and its end until `close`: other programs read it nevertheless, this service refuses it.
/// It is completed at the exit of the process if it was not closed. The first failed write is logged, and
/// `FileReport::writeFailure` returns it.
///
/// Thread-safe across files; calls on one file must not overlap. Not real-time safe. Operations return `badParameter`
/// for an unknown file, property or type, and for null or wrong-sized data. Every operation except `close` may also
/// return a status that a scenario (the simulated device's script of faults) injects. `DeviceReport::lastRefusal`
/// returns the reason of the last failure of `create`, `open`, `readPackets` and `writePackets`.
class ORVANE_EXPORT SoundFileService {
 public:
  virtual ~SoundFileService() = default;

  /// Creates a file at `path`, or erases the file there, and sets `file`. Nothing is erased if the call fails, unless
  /// the disk fails. A file that this process is writing is completed first, and later writes to it are dropped.
  ///
  /// Returns `unsupportedType` for an unknown type, `unsupportedFormat` for a data format that the type cannot hold,
  /// and the statuses of `ConvertingFile::create` for the path.
  virtual Status create(const std::string& path, std::uint32_t fileType, const StreamDescription& format,
                        SoundFile& file) = 0;
  /// Opens a file for reading and sets `file`. While it is open, this process does not overwrite it.
  ///
  /// Returns `notFound`, `noPermission`, `notRegularFile` or `ioFailure` for the path, `invalidFile` if it is no sound
  /// file or is shorter than its header declares, and `unsupportedFormat` if its data format is not supported.
  virtual Status open(const std::string& path, SoundFile& file) = 0;
  /// Completes a file that is being written, and closes it.
  virtual Status close(SoundFile file) = 0;

  /// Sets `byteSize` to the size of a property in bytes, and `isWritable` to whether `setProperty` accepts it.
  virtual Status propertyInfo(SoundFile file, SoundFileProperty property, std::uint32_t& byteSize,
                              bool& isWritable) = 0;
  /// Copies at most `byteSize` bytes of a property to `data`, and sets `byteSize` to the number of bytes copied.
  virtual Status property(SoundFile file, SoundFileProperty property, std::uint32_t& byteSize, void* data) = 0;
  /// Sets a property to `byteSize` bytes. Returns `wrongState` if the property is not writable, `unsupportedFormat` for
  /// a cookie that does not belong to the file's format, and the statuses of `writePackets`.
  virtual Status setProperty(SoundFile file, SoundFileProperty property, std::uint32_t byteSize, const void* data) = 0;

  /// Appends packets. `packets` describes each packet of `data`; it may be null if all packets have the same size.
  /// `startingPacket` must be the number of packets written so far. Sets `packetCount` to the number of packets
  /// written, all of them or, after a failure, none or those before it.
  ///
  /// Returns `badParameter` if the packets do not lie in `byteSize` bytes or do not follow the last one, `wrongState`
  /// for a file that is read or was taken over, `diskFull`, or `ioFailure`.
  virtual Status writePackets(SoundFile file, std::uint32_t byteSize, const PacketDescription* packets,
                              std::int64_t startingPacket, std::uint32_t& packetCount, const void* data) = 0;
  /// Reads packets from `startingPacket` on, at most `packetCount` and at most as many as fit in `byteSize` bytes, and
  /// sets both to what was read. `packets`, which may be null for packets of constant size, receives a description of
  /// each. At the end of the file no packets are read, and the status is `success`. Reading in order is fast; a step
  /// back starts at the beginning of a compressed file again.
  ///
  /// Returns `invalidFile` if the file cannot be decoded to its end, `ioFailure` if it cannot be read, `badParameter`
  /// if the next packet is larger than `byteSize`, and `wrongState` for a file that is written.
  virtual Status readPackets(SoundFile file, std::uint32_t& byteSize, PacketDescription* packets,
                             std::int64_t startingPacket, std::uint32_t& packetCount, void* data) = 0;

  /// Sets `byteSize` to the size of an item of information in bytes. `specifier` has `specifierSize` bytes, see
  /// `SoundFileInfo`. Returns `unsupportedType` or `unsupportedFormat` for a specifier that the host does not know.
  virtual Status globalInfoSize(SoundFileInfo info, std::uint32_t specifierSize, const void* specifier,
                                std::uint32_t& byteSize) = 0;
  /// Copies an item of information to `data`, which has room for `byteSize` bytes, and sets `byteSize` to the number of
  /// bytes copied. Arrays are copied as far as they fit. For the shared pointers `data` must point to an object of that
  /// type, which is assigned.
  virtual Status globalInfo(SoundFileInfo info, std::uint32_t specifierSize, const void* specifier,
                            std::uint32_t& byteSize, void* data) = 0;
};

}  // namespace orvane::platform
