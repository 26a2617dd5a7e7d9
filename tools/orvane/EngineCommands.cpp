// SPDX-License-Identifier: MIT
#include "tools/orvane/EngineCommands.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

#include "engine/OVEngine.h"
#include "platform/DeviceReport.h"
#include "platform/EventLoop.h"
#include "platform/GraphEngine.h"
#include "platform/Subscription.h"
#include "platform/UnitService.h"
#include "platform/Url.h"
#include "tools/orvane/AudioRun.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/report/ExitStatus.h"

namespace orvane::tool {

namespace {

class EngineSubject final : public RunSubject {
 public:
  EngineSubject(const platform::Platform& host, const EngineJob& job, const SessionChoice& session)
      : mHost(host), mJob(job), mSession(session) {}

  void prepare() override;
  void start() override { mEngine->start(); }
  void stop() override { mEngine->stop(); }
  void release() override;
  ClientSide client() const override;
  bool isFinished() const override { return mEngine->player() && mEngine->player()->isFinished(); }
  std::optional<Outcome> failure() const override;

 private:
  const platform::Platform& mHost;
  const EngineJob& mJob;
  const SessionChoice& mSession;
  std::shared_ptr<OVEngine> mEngine;
  platform::Subscription mFailed;
  platform::Subscription mFinished;
};

void EngineSubject::prepare() {
  const auto stopLoop = [loop = mHost.eventLoop] { loop->stop(); };
  // Before the recording, so that a session that is refused does not erase a file.
  auto session = mSession.make();
  mEngine = OVEngine::init();
  mEngine->setEnableSilenceDetection(mJob.detectsSilence);
  for (const std::string& path : mJob.paths) mEngine->playAudioFile(path);
  if (!mJob.url.empty()) mEngine->recordAudioFile(mJob.url);
  mEngine->setSession(std::move(session));
  mFailed = mEngine->engine()->onFailure(stopLoop);
  if (mEngine->player()) mFinished = mEngine->player()->onFinished(stopLoop);
}

void EngineSubject::release() {
  mFailed.reset();
  mFinished.reset();
  mEngine.reset();
}

ClientSide EngineSubject::client() const {
  ClientSide side;
  if (!mJob.url.empty()) side.input = mHost.deviceReport->hardwareInput();
  if (!mJob.paths.empty()) side.output = mHost.deviceReport->hardwareOutput();
  side.latency = mHost.units->latency(mEngine->engine()->outputNode()->unit());
  return side;
}

std::optional<Outcome> EngineSubject::failure() const {
  const auto failure = mEngine->engine()->failure();
  if (!failure) return std::nullopt;
  const bool isSilence = failure->reason == OVEngine::silenceMessage;
  const auto cause = failure->status != platform::status::success ? std::optional(failure->status) : std::nullopt;
  return failed(isSilence ? ExitStatus::checkFailed : ExitStatus::failed, failure->reason, cause);
}

/// Returns what is wrong with the text of a URL to record to, or an empty text.
std::string checkUrl(const std::string& text) {
  if (platform::Url::parse(text)) return {};
  if (text.empty()) return "the URL is empty; it takes the URL of a file, such as file:///tmp/take.wav";
  return "\"" + text + "\" is not a URL; the URL of the file with this path is " + platform::Url::fromPath(text).text();
}

void declareDetection(CLI::App& options, EngineJob& job) {
  options.add_flag(
      "--detect-silence", job.detectsSilence,
      "End with status 3 when a channel of a recorded buffer of 4096 frames is silent (-160 dB or lower). A "
      "shorter last buffer is checked with the frames before it if it has less than 64");
}

}  // namespace

EnginePlayCommand::EnginePlayCommand(CLI::App& parent)
    : Command(parent, "play", "Play files one after the other through the graph engine") {
  options()
      .add_option(
          "PATH", mJob.paths,
          "Files to play: WAVE, RF64, AIFF, AU, CAF, FLAC, Ogg Vorbis, Ogg Opus, MP3 and others that libsndfile "
          "reads")
      ->required()
      ->type_name("");
  options()
      .add_option("--record", mJob.url, "URL of a file to which the audio input is recorded (see 'engine record')")
      ->type_name("URL")
      ->check(checkUrl);
  declareDetection(options(), mJob);
  mSession.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Ends when the last sample has been played, when --seconds have passed, or with Ctrl-C. There is no gap between "
      "the files.\n\n"
      "Example:\n"
      "  orvane --simulate speaker=a.wav,pace=fast engine play /usr/share/sounds/alsa/Front_Left.wav "
      "/usr/share/sounds/alsa/Front_Right.wav");
}

Outcome EnginePlayCommand::run(const Invocation& invocation) {
  EngineSubject subject(invocation.host, mJob, mSession);
  const bool records = !mJob.url.empty();
  const std::string what = mJob.paths.size() == 1 ? mJob.paths.front() : std::to_string(mJob.paths.size()) + " files";
  const AudioRun run{.input = records,
                     .output = true,
                     .activity = "playing " + what + " on the output of the " +
                                 invocation.host.deviceReport->hostName() + " host" +
                                 (records ? ", and recording its input to " + mJob.url : ""),
                     .seconds = mSeconds,
                     .outlastsInput = true};
  return perform(invocation, run, subject);
}

EngineRecordCommand::EngineRecordCommand(CLI::App& parent)
    : Command(parent, "record", "Record the audio input to a file through the graph engine") {
  options()
      .add_option("URL", mJob.url,
                  "URL of the file to write, such as file:///tmp/take.wav; its extension selects the file type: wav, "
                  "rf64, aifc, au (32-bit float) or aiff (24-bit integers)")
      ->required()
      ->type_name("")
      ->check(checkUrl);
  declareDetection(options(), mJob);
  mSession.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Ends when --seconds have passed, at the end of the input, or with Ctrl-C. An existing file is erased at the "
      "start. While it records, other programs can read the file up to the last whole buffer of 4096 frames (85 ms "
      "at 48 kHz, 0.5 s at 8 kHz).\n\n"
      "Example:\n"
      "  orvane --simulate mic=tone:440:0.5,pace=fast engine record file:///tmp/take.wav --seconds 2");
}

Outcome EngineRecordCommand::run(const Invocation& invocation) {
  EngineSubject subject(invocation.host, mJob, mSession);
  const AudioRun run{
      .input = true,
      .activity = "recording the input of the " + invocation.host.deviceReport->hostName() + " host to " + mJob.url,
      .seconds = mSeconds};
  return perform(invocation, run, subject);
}

}  // namespace orvane::tool
