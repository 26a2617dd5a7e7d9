// SPDX-License-Identifier: MIT
#include "tools/orvane/QueueCommands.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <utility>

#include "Pexutil/Source/Utility/PXAudioFileFormats.h"
#include "Pexutil/Source/Utility/PXLiterals.h"
#include "platform/DeviceReport.h"
#include "platform/EventLoop.h"
#include "platform/SoundFileService.h"
#include "platform/StreamFormat.h"
#include "queue/OVQueuePlayer.h"
#include "queue/OVQueueRecorder.h"
#include "tools/orvane/AudioRun.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/report/RunReport.h"

namespace orvane::tool {

namespace {

using platform::StreamDescription;
using platform::StreamFormat;

constexpr char notation[] =
    "RATE-TYPE WIDTH[A|a CONTAINER]MODIFIERS-CHANNELS without blanks, such as 48000-S16I-2: TYPE is S, U or F; the "
    "MODIFIERS are E or e (big- or little-endian), I or i (interleaved or not), M or m (mixable or not)";

std::optional<StreamDescription> parseFormat(const std::string& text) {
  const PX::LpcmNotation parsed = PX::LpcmNotation::parse(text.data(), text.size());
  return parsed.failedCondition == nullptr ? std::optional(parsed.description) : std::nullopt;
}

/// Returns which field of a format no file can have, or an empty text.
std::string wrongField(const StreamDescription& format) {
  constexpr double maxRate = 6'144'000;
  const std::uint32_t bits = format.bitsPerChannel;
  const bool isFloat = (format.formatFlags & platform::format_flag::isFloat) != 0;
  const bool isInterleaved = (format.formatFlags & platform::format_flag::nonInterleaved) == 0;
  if (format.sampleRate < 1 || format.sampleRate > maxRate) return "the rate must be 1 to 6144000 hertz";
  if (format.channelsPerFrame < 1 || format.channelsPerFrame > 64) return "there must be 1 to 64 channels";
  if (isFloat && bits != 32 && bits != 64) return "a float has 32 or 64 bits";
  if (!isFloat && (bits < 1 || bits > 32)) return "an integer has 1 to 32 bits";
  if (!isInterleaved && format.channelsPerFrame > 1) return "the channels must be interleaved (letter I)";
  return {};
}

/// Returns what is wrong with the text of a format, or an empty text.
std::string checkFormat(const std::string& text) {
  const auto format = parseFormat(text);
  if (!format) return "\"" + text + "\" is not a format; it takes " + notation;
  const std::string wrong = wrongField(*format);
  return wrong.empty() ? wrong : "\"" + text + "\": " + wrong;
}

/// Returns the format to record in, or `std::nullopt` for the library's default. A file type that is compressed is
/// given the format's rate, channels and width, because its packets are not linear PCM.
std::optional<StreamFormat> fileFormat(const std::string& path, const std::optional<StreamDescription>& asked) {
  constexpr double defaultRate = 44100;
  constexpr double opusRate = 48000;
  std::uint32_t type = platform::sound_file_type::nativeContainer;
  PXAudioFileFormats::Instance(false).InferFileFormatFromFilename(path.c_str(), type);
  if (type == platform::sound_file_type::flac) {
    return StreamFormat(StreamDescription{.sampleRate = asked ? asked->sampleRate : defaultRate,
                                          .formatID = platform::flacFormatID,
                                          .channelsPerFrame = asked ? asked->channelsPerFrame : 1,
                                          .bitsPerChannel = asked ? asked->bitsPerChannel : 16});
  }
  if (type == platform::sound_file_type::opus) {
    return StreamFormat(StreamDescription{.sampleRate = asked ? asked->sampleRate : opusRate,
                                          .formatID = platform::opusFormatID,
                                          .channelsPerFrame = asked ? asked->channelsPerFrame : 1});
  }
  return asked ? std::optional<StreamFormat>(*asked) : std::nullopt;
}

class RecorderSubject final : public RunSubject {
 public:
  RecorderSubject(std::string path, std::optional<StreamFormat> format, const SessionChoice& session)
      : mPath(std::move(path)), mFormat(std::move(format)), mSession(session) {}

  void prepare() override {
    // Before the recorder, so that a session that is refused does not erase a file.
    auto session = mSession.make();
    mRecorder = mFormat ? OVQueueRecorder::initWithFilePath(mPath, *mFormat) : OVQueueRecorder::initWithFilePath(mPath);
    mRecorder->setSession(std::move(session));
  }
  void start() override { mRecorder->start(); }
  void stop() override { mRecorder->stop(); }
  void release() override { mRecorder.reset(); }
  ClientSide client() const override { return {.input = StreamFormat(mRecorder->recordedFormat())}; }

 private:
  const std::string mPath;
  const std::optional<StreamFormat> mFormat;
  const SessionChoice& mSession;
  std::shared_ptr<OVQueueRecorder> mRecorder;
};

class PlayerSubject final : public RunSubject {
 public:
  PlayerSubject(std::string path, const SessionChoice& session, std::shared_ptr<platform::EventLoop> loop)
      : mPath(std::move(path)), mSession(session), mLoop(std::move(loop)) {}

  void prepare() override {
    mPlayer = OVQueuePlayer::initWithFilePath(mPath);
    mPlayer->setFinishedHandler([loop = mLoop] { loop->stop(); });
    mPlayer->setSession(mSession.make());
  }
  void start() override { mPlayer->start(); }
  void stop() override { mPlayer->stop(); }
  void release() override { mPlayer.reset(); }
  ClientSide client() const override { return {.output = StreamFormat(mPlayer->fileFormat())}; }
  bool isFinished() const override { return mPlayer->isFinished(); }

 private:
  const std::string mPath;
  const SessionChoice& mSession;
  const std::shared_ptr<platform::EventLoop> mLoop;
  std::shared_ptr<OVQueuePlayer> mPlayer;
};

}  // namespace

QueueRecordCommand::QueueRecordCommand(CLI::App& parent)
    : Command(parent, "record", "Record the audio input to a file through a buffer queue") {
  options()
      .add_option("PATH", mPath, "File to write; its extension selects the file type (see 'orvane formats')")
      ->required()
      ->type_name("")
      ->check([](const std::string& path) {
        return path.empty() ? "the path is empty; it takes the path of a file to write" : std::string();
      });
  options()
      .add_option("--format", mFormat,
                  "Format of the samples (default 44100 Hz, 16 bits, mono; 48000 Hz for Opus): " +
                      std::string(notation) + ". FLAC takes its rate, width and channels, Opus its rate and channels")
      ->type_name("FORMAT")
      ->check(checkFormat);
  mSession.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Ends when --seconds have passed, at the end of the input, or with Ctrl-C. An existing file is erased at the "
      "start. While it records, the file has everything but the last 250 ms.\n\n"
      "Example:\n"
      "  orvane --simulate mic=tone:440:0.5,pace=fast queue record a.flac --seconds 2");
}

Outcome QueueRecordCommand::run(const Invocation& invocation) {
  const auto asked = mFormat.empty() ? std::nullopt : parseFormat(mFormat);
  RecorderSubject subject(mPath, fileFormat(mPath, asked), mSession);
  const AudioRun run{
      .input = true,
      .activity = "recording the input of the " + invocation.host.deviceReport->hostName() + " host to " + mPath,
      .seconds = mSeconds};
  return perform(invocation, run, subject);
}

QueuePlayCommand::QueuePlayCommand(CLI::App& parent) : Command(parent, "play", "Play a file through a buffer queue") {
  options()
      .add_option("PATH", mPath, "File to play: WAVE, RF64, AIFF, AIFC, AU, FLAC, Opus and other files of linear PCM")
      ->required()
      ->type_name("");
  mSession.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Ends when the last sample has been played, when --seconds have passed, or with Ctrl-C. A file that cannot be "
      "read to its end ends the tool with status 1.\n\n"
      "Example:\n"
      "  orvane --simulate speaker=a.wav,pace=fast queue play /usr/share/sounds/alsa/Front_Center.wav");
}

Outcome QueuePlayCommand::run(const Invocation& invocation) {
  PlayerSubject subject(mPath, mSession, invocation.host.eventLoop);
  const AudioRun run{
      .output = true,
      .activity = "playing " + mPath + " on the output of the " + invocation.host.deviceReport->hostName() + " host",
      .seconds = mSeconds};
  return perform(invocation, run, subject);
}

}  // namespace orvane::tool
