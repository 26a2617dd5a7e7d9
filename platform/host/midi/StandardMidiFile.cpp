// SPDX-License-Identifier: MIT
#include "platform/host/midi/StandardMidiFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>
#include <queue>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "platform/Status.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint32_t defaultTempo = 500'000;  ///< Microseconds per quarter note.
constexpr std::uint8_t exclusiveStart = 0xF0;
constexpr std::uint8_t exclusiveEnd = 0xF7;
constexpr std::uint8_t metaEvent = 0xFF;
constexpr std::uint8_t metaEndOfTrack = 0x2F;
constexpr std::uint8_t metaTempo = 0x51;

/// Thrown inside this file for a file that is refused.
struct Refused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::uint32_t bigEndian(Bytes bytes) {
  std::uint32_t number = 0;
  for (const std::uint8_t byte : bytes) number = number << 8 | byte;
  return number;
}

bool hasText(Bytes file, std::size_t offset, std::string_view text) {
  return file.size() >= offset + text.size() &&
         std::equal(text.begin(), text.end(), file.begin() + static_cast<std::ptrdiff_t>(offset));
}

/// Converts positions in ticks to nanoseconds, exactly to the nanosecond below.
class TickTime {
 public:
  /// `division` is that of the file's header.
  explicit TickTime(std::uint16_t division) {
    if ((division & 0x8000) == 0) {
      mTicksPerQuarter = division;
      return;
    }
    const int framesPerSecond = 256 - (division >> 8);
    const std::uint64_t ticksPerFrame = division & 0xFF;
    if (framesPerSecond != 24 && framesPerSecond != 25 && framesPerSecond != 29 && framesPerSecond != 30) {
      throw Refused("its SMPTE time has " + std::to_string(framesPerSecond) +
                    " frames per second; it may have 24, 25, 29 or 30");
    }
    // 29 stands for 30 drop-frame: 29.97 frames per second.
    mTicksPerPeriod = (framesPerSecond == 29 ? 30'000 : static_cast<std::uint64_t>(framesPerSecond)) * ticksPerFrame;
    mPeriod = framesPerSecond == 29 ? UINT64_C(1'001'000'000'000) : UINT64_C(1'000'000'000);
  }

  bool isZero() const { return mTicksPerQuarter == 0 && mTicksPerPeriod == 0; }

  /// Moves on by `ticks`.
  void advance(std::uint64_t ticks) {
    // At most 2^28 ticks at a time and a tempo below 2^24: no overflow before the check of the limit.
    mSum += ticks * (mTicksPerPeriod > 0 ? 1 : mTempo);
    mNanoseconds = mTicksPerPeriod > 0 ? scaled(mTicksPerPeriod, mPeriod) : scaled(mTicksPerQuarter, 1000);
    if (mNanoseconds > MidiFileContent::maxSeconds * 1'000'000'000) {
      throw Refused("it is longer than " + std::to_string(MidiFileContent::maxSeconds) + " seconds");
    }
  }
  void setTempo(std::uint32_t tempo) {
    if (tempo > 0) mTempo = tempo;
  }
  platform::HostTime now() const { return platform::HostTime(mNanoseconds); }

 private:
  /// Returns the sum times `factor` divided by `divisor`, rounded down, without overflow of the product.
  std::uint64_t scaled(std::uint64_t divisor, std::uint64_t factor) const {
    const std::uint64_t whole = mSum / divisor;
    if (whole > MidiFileContent::maxSeconds * 1'000'000'000 / factor) return UINT64_MAX;
    return whole * factor + mSum % divisor * factor / divisor;
  }

  std::uint64_t mTicksPerQuarter = 0;
  std::uint64_t mTicksPerPeriod = 0;  ///< Of SMPTE time; 0 for metrical time.
  std::uint64_t mPeriod = 0;          ///< The nanoseconds of so many ticks.
  std::uint64_t mTempo = defaultTempo;
  std::uint64_t mSum = 0;  ///< Ticks; for metrical time each multiplied by its tempo.
  std::uint64_t mNanoseconds = 0;
};

/// Receives the events of all tracks in order of time, and makes packets of them.
class Collector {
 public:
  explicit Collector(std::size_t fileBytes) {
    // An event has no more bytes in a packet than in the file: a repeated status byte takes the place of the delta
    // time.
    mContent->bytes.resize(fileBytes);
    mContent->packets.reserve(std::min(fileBytes / 4, MidiFileContent::maxEvents));
  }

  void countEvent() {
    if (++mEvents > MidiFileContent::maxEvents) {
      throw Refused("it has more than " + std::to_string(MidiFileContent::maxEvents) + " events");
    }
  }
  void addMessage(platform::HostTime time, std::uint8_t status, Bytes data) {
    begin(time, 1 + data.size(), false);
    append(status);
    for (const std::uint8_t byte : data) append(byte);
  }
  /// Adds bytes as packets of their own, with `first` (if any) before them.
  void addExclusive(platform::HostTime time, std::optional<std::uint8_t> first, Bytes data) {
    do {
      const std::size_t room = maxPacket - (first ? 1 : 0);
      const Bytes piece = data.first(std::min(data.size(), room));
      if (piece.empty() && !first) return;
      begin(time, piece.size() + (first ? 1 : 0), true);
      if (first) append(*first);
      first.reset();
      std::ranges::copy(piece, mContent->bytes.begin() + static_cast<std::ptrdiff_t>(mSize));
      mSize += piece.size();
      data = data.subspan(piece.size());
    } while (!data.empty());
  }
  std::shared_ptr<const MidiFileContent> take() {
    mContent->bytes.resize(mSize);
    return mContent;
  }

 private:
  static constexpr std::size_t maxPacket = 65535;

  void append(std::uint8_t byte) { mContent->bytes[mSize++] = byte; }

  void begin(platform::HostTime time, std::size_t bytes, bool isExclusive) {
    auto& packets = mContent->packets;
    const bool joins = !packets.empty() && packets.back().time == time && !isExclusive && !mIsExclusive &&
                       packets.back().length + bytes <= maxPacket;
    if (joins) {
      packets.back().length += static_cast<std::uint32_t>(bytes);
    } else {
      packets.push_back({time, static_cast<std::uint32_t>(mSize), static_cast<std::uint32_t>(bytes)});
    }
    mIsExclusive = isExclusive;
  }

  const std::shared_ptr<MidiFileContent> mContent = std::make_shared<MidiFileContent>();
  std::size_t mSize = 0;  ///< How many of the content's bytes are in use.
  std::size_t mEvents = 0;
  bool mIsExclusive = false;  ///< Whether the last packet is a system-exclusive message.
};

/// The position of a reader in a track. The bytes of an event that is cut off by the end of the track are skipped.
class TrackReader {
 public:
  /// `end` is the end of the track as its header says, `limit` the end up to which a track without an end-of-track
  /// event is read.
  TrackReader(Bytes file, std::size_t begin, std::size_t end, std::size_t limit, std::size_t number)
      : mFile(file), mAt(begin), mEnd(end), mLimit(limit), mNumber(number) {}

  std::size_t number() const { return mNumber; }
  std::uint64_t tick() const { return mTick; }

  /// Moves to the next event and adds its delta time to `tick`. Returns false at the end of the track.
  bool next() {
    if (mIsOver || (mAt >= mEnd && !readOn())) return false;
    std::uint64_t delta = 0;
    if (!readQuantity(delta)) return false;
    mTick += delta;
    return mAt < mLimit;
  }

  /// Reads the event that `next` moved to.
  void readEvent(TickTime& time, Collector& collector) {
    collector.countEvent();
    std::uint8_t status = mFile[mAt];
    if (status >= 0x80) {
      ++mAt;
    } else {
      status = mRunning;
    }
    if (status == metaEvent) return readMeta(time);
    if (status == exclusiveStart || status == exclusiveEnd) return readExclusive(status, time, collector);
    readMessage(status, time, collector);
  }

 private:
  static constexpr int dataBytes(std::uint8_t status) {
    if (status >= 0xF0) return status == 0xF2 ? 2 : status == 0xF1 || status == 0xF3 ? 1 : 0;
    return status >= 0xC0 && status < 0xE0 ? 1 : 2;
  }

  void end() { mIsOver = true; }

  /// Goes on behind the end that the track's header gives, if the file has more.
  bool readOn() {
    if (mEnd == mLimit) return false;
    mEnd = mLimit;
    mIsLenient = true;
    return mAt < mEnd;
  }

  /// Refuses the file, or ends the track if it is read behind its declared end.
  void refuse(const std::string& what, std::size_t offset) {
    if (!mIsLenient) {
      throw Refused(what + " in track " + std::to_string(mNumber + 1) + " at offset " + std::to_string(offset));
    }
    end();
  }

  bool readQuantity(std::uint64_t& number) {
    number = 0;
    for (int digit = 0; digit < 4; ++digit) {
      if (mAt >= mLimit) return end(), false;
      const std::uint8_t byte = mFile[mAt++];
      number = number << 7 | (byte & 0x7F);
      if ((byte & 0x80) == 0) return true;
    }
    return refuse("a number of more than four bytes", mAt - 4), false;
  }

  /// Reads a length and the bytes that it counts. Returns `std::nullopt`, and ends the track, if they are cut off.
  std::optional<Bytes> readBlock() {
    std::uint64_t length = 0;
    if (!readQuantity(length)) return std::nullopt;
    if (length > mLimit - mAt) return end(), std::nullopt;
    const Bytes block = mFile.subspan(mAt, length);
    mAt += length;
    return block;
  }

  void readMeta(TickTime& time) {
    if (mAt >= mLimit) return end();
    const std::uint8_t type = mFile[mAt++];
    const auto block = readBlock();
    if (type == metaEndOfTrack) return end();
    if (block && type == metaTempo && block->size() == 3) time.setTempo(bigEndian(*block));
  }

  void readExclusive(std::uint8_t status, const TickTime& time, Collector& collector) {
    const auto block = readBlock();
    if (!block) return;
    collector.addExclusive(time.now(), status == exclusiveStart ? std::optional(status) : std::nullopt, *block);
  }

  void readMessage(std::uint8_t status, const TickTime& time, Collector& collector) {
    if (status == 0) return refuse("a data byte without a status byte", mAt);
    const auto count = static_cast<std::size_t>(dataBytes(status));
    if (count > mLimit - mAt) return end();
    const Bytes data = mFile.subspan(mAt, count);
    const auto isStatus = [](std::uint8_t byte) { return byte >= 0x80; };
    if (std::ranges::any_of(data, isStatus)) return refuse("a status byte in a message", mAt);
    if (status < 0xF0) mRunning = status;
    collector.addMessage(time.now(), status, data);
    mAt += count;
  }

  const Bytes mFile;
  std::size_t mAt;
  std::size_t mEnd;
  const std::size_t mLimit;
  const std::size_t mNumber;
  std::uint64_t mTick = 0;
  std::uint8_t mRunning = 0;  ///< The running status; 0 before the first message.
  bool mIsOver = false;
  bool mIsLenient = false;
};

struct Header {
  std::uint32_t format = 0;
  std::uint32_t tracks = 0;
  std::uint16_t division = 0;
  std::size_t end = 0;
};

Header readHeader(Bytes& file) {
  // A RIFF container has one chunk "data" with the whole file.
  constexpr std::size_t riffHeader = 20;
  if (hasText(file, 0, "RIFF") && hasText(file, 8, "RMIDdata")) file = file.subspan(riffHeader);
  constexpr std::size_t chunkHeader = 8;
  constexpr std::size_t fields = 6;
  if (!hasText(file, 0, "MThd") || file.size() < chunkHeader + fields) {
    throw Refused("it is not a standard MIDI file: it does not begin with a header \"MThd\"");
  }
  const std::size_t length = bigEndian(file.subspan(4, 4));
  if (length < fields) throw Refused("its header has " + std::to_string(length) + " bytes; it should have 6");
  Header header{bigEndian(file.subspan(8, 2)), bigEndian(file.subspan(10, 2)),
                static_cast<std::uint16_t>(bigEndian(file.subspan(12, 2))), chunkHeader + length};
  if (header.format > 2) throw Refused("its format is " + std::to_string(header.format) + "; it should be 0, 1 or 2");
  return header;
}

/// Returns whether there is a whole chunk of any type at `offset`.
bool isChunk(Bytes file, std::size_t offset) {
  constexpr std::size_t chunkHeader = 8;
  if (file.size() - offset < chunkHeader) return false;
  const Bytes type = file.subspan(offset, 4);
  const auto isPrintable = [](std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; };
  return std::ranges::all_of(type, isPrintable) &&
         bigEndian(file.subspan(offset + 4, 4)) <= file.size() - offset - chunkHeader;
}

std::vector<TrackReader> findTracks(Bytes file, const Header& header) {
  constexpr std::size_t chunkHeader = 8;
  std::vector<TrackReader> tracks;
  std::size_t at = header.end;
  while (tracks.size() < header.tracks && at < file.size() && file.size() - at >= chunkHeader) {
    const std::size_t begin = at + chunkHeader;
    const std::size_t end = begin + std::min<std::size_t>(bigEndian(file.subspan(at + 4, 4)), file.size() - begin);
    const bool isTrack = hasText(file, at, "MTrk");
    // The last track may be longer than its header says, unless a chunk follows it.
    const bool isLast = !isChunk(file, end) && (tracks.size() + 1 == header.tracks || file.size() - end < chunkHeader);
    if (isTrack) tracks.emplace_back(file, begin, end, isLast ? file.size() : end, tracks.size());
    at = end;
  }
  if (tracks.empty()) throw Refused("it has no track");
  return tracks;
}

/// Reads tracks that sound together.
void readTogether(std::span<TrackReader> tracks, TickTime& time, Collector& collector) {
  using Place = std::pair<std::uint64_t, std::size_t>;  // tick and track
  std::priority_queue<Place, std::vector<Place>, std::greater<>> order;
  for (std::size_t track = 0; track < tracks.size(); ++track) {
    if (tracks[track].next()) order.emplace(tracks[track].tick(), track);
  }
  std::uint64_t position = 0;
  while (!order.empty()) {
    const std::size_t first = order.top().second;
    TrackReader& track = tracks[first];
    order.pop();
    // Events of the same track are read without going through the queue.
    do {
      if (track.tick() != position) time.advance(track.tick() - std::exchange(position, track.tick()));
      track.readEvent(time, collector);
      if (!track.next()) break;
      if (!order.empty() && order.top() < Place(track.tick(), first)) {
        order.emplace(track.tick(), first);
        break;
      }
    } while (true);
  }
}

}  // namespace

Result<std::shared_ptr<const MidiFileContent>> parseMidiFile(Bytes file) try {
  if (file.size() > MidiFileContent::maxFileBytes) {
    throw Refused("it has more than " + std::to_string(MidiFileContent::maxFileBytes) + " bytes");
  }
  const Header header = readHeader(file);
  TickTime time(header.division);
  if (time.isZero()) throw Refused("its division is 0; it should be the number of ticks of a quarter note");
  std::vector<TrackReader> tracks = findTracks(file, header);
  Collector collector(file.size());
  if (header.format != 2) {
    readTogether(tracks, time, collector);
    return collector.take();
  }
  for (TrackReader& track : tracks) {
    time.setTempo(defaultTempo);
    readTogether({&track, 1}, time, collector);
  }
  return collector.take();
} catch (const Refused& refused) {
  return platform::Failure{platform::status::invalidFile, refused.what()};
}

Result<std::shared_ptr<const MidiFileContent>> readMidiFile(const std::string& path) {
  auto opened = openToRead(path);
  if (!opened) return opened.failure();
  struct stat facts {};
  if (fstat(opened->get(), &facts) != 0) return systemFailure(path, errno);
  // One byte more than the limit is enough for the refusal.
  std::vector<std::uint8_t> file(std::min(static_cast<std::size_t>(facts.st_size), MidiFileContent::maxFileBytes + 1));
  std::size_t size = 0;
  while (size < file.size()) {
    const ssize_t count = read(opened->get(), file.data() + size, file.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return systemFailure(path, errno);
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  auto content = parseMidiFile(Bytes(file).first(size));
  if (!content) content.failure().reason = "\"" + path + "\": " + content.failure().reason;
  return content;
}

}  // namespace orvane::host
