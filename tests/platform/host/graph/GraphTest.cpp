// SPDX-License-Identifier: MIT
#include <cmath>
#include <filesystem>
#include <limits>
#include <random>
#include <thread>

#include "engine/OVEngine.h"
#include "platform/DeviceReport.h"
#include "platform/FileReport.h"
#include "platform/GraphEngine.h"
#include "platform/Hosts.h"
#include "platform/PlatformSession.h"
#include "platform/SessionIdentifiers.h"
#include "platform/Waiter.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane::test {
namespace {

using namespace platform;

TEST(Urls, AreParsedAndNameFiles) {
  for (const char* const text :
       {"", "take.wav", "/tmp/take.wav", "file", ":a", "1a:b", "a b:c", "file:///%", "file:///%4", "file:///%4g",
        "file:///a b", "file:///a\n", "file:///\xC3\xA9", "file:///<a>"})
    EXPECT_FALSE(Url::parse(text)) << text;
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"file:///tmp/a%20b%2Fc.wav", "/tmp/a b/c.wav", ""},
      {"FILE:/a", "/a", ""},
      {"file://localhost/a", "/a", ""},
      {"file:///%C3%A9", "/\xC3\xA9", ""},
      {"file://other/a", "/a", "host \"other\""},
      {"file:a", "a", "no absolute path"},
      {"file://", "", "no absolute path"},
      {"file:///a?b", "/a", "query or a fragment"},
      {"file:///a%00", std::string("/a\0", 3), "zero byte"},
      {"http://x/a", "/a", "not a file URL"}};
  for (const auto& [text, path, why] : rows) {
    const auto url = Url::parse(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->path(), path);
    EXPECT_EQ(url->whyNotFile().has_value(), !why.empty()) << text;
    EXPECT_THAT(url->whyNotFile().value_or(""), HasSubstr(why));
  }
  EXPECT_EQ(Url::fromPath("/a b%\xC3\xA9?").text(), "file:///a%20b%25%C3%A9%3F");
  EXPECT_EQ(Url::parse(Url::fromPath("x").text())->path(), (std::filesystem::current_path() / "x").string());
}

/// An engine on a device whose slices the test makes.
struct GraphRig : testing::Test, ScriptedDevice {
  void settle() const { services.scheduler->makeWaiter()->wait(5ms); }
  float play(std::uint32_t frames = 256) {
    slice(frames);
    settle();
    return state->played.empty() ? 99 : state->played.back();
  }
  std::shared_ptr<PcmFile> file(const Sound& sound) {
    const std::string path = mFolder.file(std::to_string(++mFiles) + ".wav");
    writeSound(path, sound);
    std::optional<PlatformError> error;
    return services.graphs->openFile(Url::fromPath(path), error);
  }
  std::shared_ptr<PlayerNode> makePlayer(const Sound& sound) {
    auto player = services.graphs->makePlayerNode();
    engine->attach(player);
    engine->connect(player, engine->mainMixerNode(), StreamFormat::standard(48000, 1));
    player->scheduleFile(file(sound));
    return player;
  }

  const TemporaryFolder mFolder;
  int mFiles = 0;
  const std::shared_ptr<GraphEngine> engine = services.graphs->makeEngine();
};

TEST_F(GraphRig, PlayersAreMixedAndKeepTheirPlace) {
  const auto one = makePlayer({48000, 1, std::vector<float>(1000, 0.25F)});
  const auto other = makePlayer({48000, 1, std::vector<float>(2000, 0.5F)});
  one->play();
  EXPECT_FALSE(engine->start());
  EXPECT_EQ(play(), 0.25F) << "the other one has not been told to play";
  other->play();
  EXPECT_EQ(play(), 0.75F);
  engine->stop();
  EXPECT_FALSE(engine->start());
  EXPECT_EQ(play(), 0.75F) << "goes on";
  slice(256);
  EXPECT_EQ(std::pair(state->played[231], state->played[232]), std::pair(0.75F, 0.5F)) << "after 1000 frames";
  EXPECT_FALSE(one->isFinished());
  play();
  play();
  EXPECT_TRUE(one->isFinished() && !other->isFinished());
  one->scheduleFile(file({48000, 1, std::vector<float>(300, -0.5F)}));
  EXPECT_EQ(play(), 0.5F) << "waits for play";
  one->play();
  EXPECT_FALSE(one->isFinished());
  EXPECT_EQ(play(), 0.0F);
  for (int i = 0; i < 6; ++i) play();
  EXPECT_TRUE(one->isFinished() && other->isFinished() && play() == 0);
  EXPECT_EQ(services.deviceReport->runCount().discontinuities, 0U);
}

TEST_F(GraphRig, TapsDeliverWholeBuffersAndTheRest) {
  std::vector<std::pair<std::uint32_t, double>> taken;
  const auto input = engine->inputNode();
  const StreamFormat format = input->inputFormat(0);
  EXPECT_EQ(format, StreamFormat::standard(48000, 1));
  const auto take = [&](const PcmBuffer* buffer, const RenderTimeStamp& time) {
    taken.emplace_back(buffer->frames(), time.sampleTime);
    if (time.sampleTime == 2100) throw std::runtime_error("enough");
  };
  input->installTap(0, 1000, format, take);
  for (int run = 0; run < 2; ++run) {
    EXPECT_FALSE(engine->start());
    for (int i = 0; i < 4; ++i) play(262);
    slice(2);
    engine->stop();
  }
  EXPECT_EQ(taken, (std::vector<std::pair<std::uint32_t, double>>{{1000, 0}, {50, 1000}, {1000, 1050}, {50, 2050}}));
  EXPECT_FALSE(engine->failure());
  int notices = 0;
  const auto failed = engine->onFailure([&] { ++notices; });
  EXPECT_FALSE(engine->start());
  for (int i = 0; i < 99; ++i) play(256);
  EXPECT_EQ(taken.size(), 5U) << "the exception has ended the tap";
  EXPECT_EQ(engine->failure(), (Failure{0, "enough", "InputNode::tap"}));
  EXPECT_EQ(notices, 1);
  engine->stop();
  EXPECT_FALSE(engine->start());
  EXPECT_TRUE(engine->failure()) << "nothing is captured in this run either";
  input->installTap(0, 1000, format, take);
  EXPECT_FALSE(engine->failure());
  EXPECT_EQ(play(1000), 0);
  EXPECT_EQ(taken.size(), 6U) << "a new tap while the engine runs";
  input->removeTap(0);
  EXPECT_FALSE(state->inputTaken);
  for (const auto& each : {std::tuple(1U, 9U, format),
                           {0U, 0U, format},
                           {0U, 65537U, format},
                           {0U, 9U, StreamFormat::standard(8000, 1)}}) {
    const auto install = [&](std::uint32_t bus, std::uint32_t frames, const StreamFormat& wanted) {
      input->installTap(bus, frames, wanted, take);
    };
    EXPECT_NE(reasonOf([&] { std::apply(install, each); }), "");
  }
}

TEST_F(GraphRig, KeepTheFailureOfATapsLastDelivery) {
  const auto input = engine->inputNode();
  std::string log;
  services.log->setSink([&](LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
  const auto install = [&](bool fails) {
    input->installTap(0, 1000, input->inputFormat(0), [fails](auto...) {
      if (fails) throw PlatformException("X", "own");
    });
  };
  const auto capture = [&] {
    EXPECT_FALSE(engine->start());
    play();
    EXPECT_FALSE(engine->failure()) << "less than a buffer";
  };
  install(true);
  capture();
  state->callback->deviceEnded(DeviceEnd::failed, Failure{-9, "gone"});
  EXPECT_FALSE(engine->start()) << "ends the run before, and so delivers its last buffer";
  EXPECT_EQ(engine->failure(), (Failure{0, "own", "InputNode::tap"}));
  EXPECT_EQ(log, "InputNode::tap failed: own\n") << "an exception that the library did not raise";
  input->removeTap(0);
  install(true);
  capture();
  input->removeTap(0);
  install(true);
  play(1000);
  install(false);
  EXPECT_TRUE(engine->failure()) << "of the removal";
  engine->stop();
  capture();
}

TEST_F(GraphRig, ChangesWhileTheDeviceGoesOn) {
  std::vector<double> taken;
  const auto input = engine->inputNode();
  const auto install = [&] {
    input->installTap(0, 256, input->inputFormat(0),
                      [&](const PcmBuffer*, const RenderTimeStamp& time) { taken.push_back(time.sampleTime); });
  };
  EXPECT_FALSE(engine->start());
  EXPECT_EQ(play(), 0);
  const auto player = makePlayer({48000, 1, std::vector<float>(9999, 0.25F)});
  player->play();
  EXPECT_EQ(play(), 0.25F);
  for (int round = 0; round < 3; ++round) {
    if (round != 1) install();
    EXPECT_TRUE(state->inputTaken);
    EXPECT_EQ(play(), 0.25F);
    EXPECT_EQ(taken, (std::vector<double>{0})) << round;
    if (round == 0) install();  // Replaces the tap.
    if (round > 0) input->removeTap(0);
    EXPECT_EQ(state->inputTaken, round == 0);
    if (round < 2) taken.clear();
  }
  const auto other = makePlayer({48000, 1, std::vector<float>(9999, 0.5F)});
  other->play();
  EXPECT_EQ(play(), 0.75F);
  state->latency.output = 600;
  const auto brief = makePlayer({48000, 1, {-0.75F}});
  brief->play();
  slice(256);
  EXPECT_EQ(state->played.front(), 0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(brief->isFinished()) << "not heard yet";
    play();
  }
  EXPECT_TRUE(brief->isFinished());
  EXPECT_EQ(state->starts, 1);

  const auto stranger = services.graphs->makeEngine();
  stranger->attach(player);
  EXPECT_THAT(reasonOf([&] { stranger->connect(player, stranger->mainMixerNode(), {}); }),
              HasSubstr("is connected to another engine"));
  const auto late = services.graphs->makeEngine();
  const auto session = services.sessions->makeAuxiliary();
  const std::uint32_t identifier = session->identifier();
  for (const auto* name : {category::record, category::playback}) {
    EXPECT_FALSE(session->setCategory(name));
    services.units->setProperty(late->outputNode()->unit(), UnitProperty::sessionIdentifier, UnitScope::global, 0,
                                &identifier, 4);
    EXPECT_FALSE(late->start());
    const std::string reason = reasonOf([&] {
      if (name == category::playback) return late->inputNode()->installTap(0, 9, input->inputFormat(0), [](auto...) {});
      const auto node = services.graphs->makePlayerNode();
      late->attach(node);
      late->connect(node, late->mainMixerNode(), {});
    });
    EXPECT_THAT(reason, StartsWith("the session's category"));
    EXPECT_EQ(services.deviceReport->lastRefusal()->reason, reason);
    EXPECT_EQ(play(), 0.75F);
    late->stop();
  }
  EXPECT_FALSE(late->start()) << "there is no tap";
}

TEST_F(GraphRig, TimesOfATapSkipWhatIsMissing) {
  std::vector<std::pair<double, std::uint64_t>> times;
  const auto input = engine->inputNode();
  input->installTap(0, 1000, input->inputFormat(0), [&](const PcmBuffer*, const RenderTimeStamp& time) {
    times.emplace_back(time.sampleTime, time.hostTime / 1'000'000);
  });
  EXPECT_FALSE(engine->start());
  auto capture = [this, passed = 0](int slices, std::uint64_t missing = 0) mutable {
    alignas(16) static const std::array<float, 480> in{};
    alignas(16) static std::array<float, 480> out{};
    const float* const inputs[] = {in.data()};
    float* const outputs[] = {out.data()};
    for (passed += static_cast<int>(missing / 48); slices > 0; --slices, passed += 10, missing = 0)
      state->callback->deviceSlice({std::chrono::milliseconds(passed), missing, 480, inputs, outputs});
  };
  capture(5);
  settle();
  capture(5, 4800);
  settle();
  EXPECT_EQ(times, (std::vector<std::pair<double, std::uint64_t>>{{0, 0}, {1000, 20}, {2000, 41}, {7800, 162}}));
  capture(300);  // More than two seconds, which the tap holds.
  settle();
  capture(10);
  engine->stop();
  // The 200 slices that fitted are followed by the last ten.
  EXPECT_EQ(services.deviceReport->runCount().overruns, 100U);
  EXPECT_EQ(times.back(), (std::pair<double, std::uint64_t>(4800 + (310 + 10) * 480 - 600, 3287)));
}

TEST_F(GraphRig, MeasuresTheAveragePower) {
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  std::vector<std::vector<double>> powers;
  state->format.inputs = 1;
  const auto input = engine->inputNode();
  input->installTap(0, 4, input->inputFormat(0), [&](const PcmBuffer* buffer, const RenderTimeStamp&) {
    powers.push_back(buffer->averagePowerPerChannel());
  });
  EXPECT_FALSE(engine->start());
  alignas(16) const std::array<float, 28> samples{1,     -1,  1,   -1, 0, 0, 0,     0,        nan,   nan,
                                                  nan,   nan, nan, 1,  0, 1, 1e-8F, 1e-8F,    1e-8F, 1e-8F,
                                                  1e-9F, 0,   0,   0,  2, 2, 2,     HUGE_VALF};
  alignas(16) std::array<float, 192> output{};
  const float* const in[] = {samples.data()};
  float* const out[] = {output.data()};
  EXPECT_EQ(state->callback->deviceSlice({{}, 0, 28, in, out}), 28U);
  settle();
  ASSERT_EQ(powers.size(), 7U);
  const double wanted[] = {0, -160, -160, 10 * std::log10(0.5), -160, -160, HUGE_VAL};
  // What a last buffer lacks is measured before it, but not in the run before.
  for (const double last : {-160.0, HUGE_VAL}) {
    engine->stop();
    EXPECT_FALSE(engine->start());
    if (last > 0) state->callback->deviceSlice({{}, 0, 28, in, out});
    slice(3);
    engine->stop();
    EXPECT_EQ(powers.back()[0], last);
  }
  // Enough frames of silence are silence, whatever was before them.
  input->installTap(0, 128, input->inputFormat(0), [&](const PcmBuffer* buffer, const RenderTimeStamp&) {
    powers.push_back(buffer->averagePowerPerChannel());
  });
  alignas(16) std::array<float, 192> loud{};
  std::fill_n(loud.begin(), 128, 1.0F);
  const float* const plane[] = {loud.data()};
  for (const std::uint32_t rest : {64U, 63U}) {
    EXPECT_FALSE(engine->start());
    state->callback->deviceSlice({{}, 0, 128 + rest, plane, out});
    engine->stop();
    EXPECT_NEAR(powers.back()[0], rest == 64 ? -160 : 10 * std::log10(1 / 64.0), 1e-9);
  }
  for (std::size_t i = 0; i < 7; ++i) {
    // Of equal infinities the difference is not a number.
    EXPECT_TRUE(powers[i][0] == wanted[i] || std::abs(powers[i][0] - wanted[i]) < 1e-5) << i << ": " << powers[i][0];
  }
}

/// A file whose frames, failures and duration of reading the test determines.
struct ScriptedFile final : PcmFile {
  ScriptedFile(std::uint64_t length, float sample) : frames(length), value(sample) {}
  StreamFormat processingFormat() const override { return StreamFormat::standard(48000, 1); }
  std::optional<PlatformError> read(std::uint64_t first, std::uint32_t wanted, std::span<float* const> planes,
                                    std::uint32_t& read) override {
    if (onRead) onRead();
    if (first >= failsAt) return PlatformError(-6, "PcmFile::read", "\"x\" is damaged");
    read = static_cast<std::uint32_t>(std::min<std::uint64_t>({wanted, frames - first, failsAt - first}));
    std::fill_n(planes[0], read, value);
    return std::nullopt;
  }
  std::optional<PlatformError> write(const PcmBuffer&) override { return std::nullopt; }

  const std::uint64_t frames;
  const float value;
  std::uint64_t failsAt = UINT64_MAX;
  std::function<void()> onRead;
};

TEST_F(GraphRig, PlaysOnBehindAFileThatFails) {
  const std::pair<std::function<void(ScriptedFile&)>, std::string> faults[] = {
      {[](auto& file) { file.failsAt = 40'000; }, "\"x\" is damaged"},
      {[](auto& file) { file.onRead = [] { throw std::logic_error("odd"); }; }, "odd"},
      {[](auto& file) { file.onRead = [] { throw 1; }; },
       "playing a file failed with an exception of an unknown type"}};
  const auto player = makePlayer({48000, 1, std::vector<float>(30'000, 0.25F)});
  player->play();
  EXPECT_FALSE(engine->start());
  int notices = 0;
  const auto failed = engine->onFailure([&] { ++notices; });
  for (const auto& [fault, reason] : faults) {
    const auto bad = std::make_shared<ScriptedFile>(60'000, 0.5F), good = std::make_shared<ScriptedFile>(256, 0.75F);
    fault(*bad);
    player->scheduleFile(bad);
    player->scheduleFile(good);
    player->play();
    bool isHeard = false;
    for (int i = 0; i < 999 && !player->isFinished(); ++i) isHeard |= play() == 0.75F;
    EXPECT_TRUE(isHeard && player->isFinished()) << reason;
    EXPECT_EQ(engine->failure().value_or(Failure{}).reason, reason);
    engine->stop();
    EXPECT_TRUE(engine->failure());
    EXPECT_FALSE(engine->start() || engine->failure()) << "a start begins anew";
    player->scheduleFile(std::make_shared<ScriptedFile>(30'000, 0.25F));
    player->play();
  }
  EXPECT_EQ(notices, 3);
  // A file that fails at once makes `play` fail, and the others are played by the next call.
  const auto bad = std::make_shared<ScriptedFile>(9, 0.5F), good = std::make_shared<ScriptedFile>(9999, 0.75F);
  bad->failsAt = 0;
  const auto fresh = makePlayer({48000, 1, {}});
  fresh->scheduleFile(bad);
  fresh->scheduleFile(good);
  EXPECT_EQ(reasonOf([&] { fresh->play(); }), "\"x\" is damaged");
  EXPECT_EQ(play(), 0.25F);
  fresh->play();
  EXPECT_EQ(play(), 1);
}

TEST_F(GraphRig, KeepsTheFailureOfAFileBesideThatOfATap) {
  const auto input = engine->inputNode();
  const auto install = [&](bool fails) {
    input->installTap(0, 256, input->inputFormat(0), [fails](auto...) {
      if (fails) throw std::runtime_error("enough");
    });
  };
  install(true);
  const auto bad = std::make_shared<ScriptedFile>(60'000, 0.5F);
  bad->failsAt = 40'000;
  const auto player = makePlayer({48000, 1, {}});
  player->scheduleFile(bad);
  player->play();
  EXPECT_FALSE(engine->start());
  while (!player->isFinished()) play();
  EXPECT_EQ(engine->failure().value_or(Failure{}).reason, "enough") << "the first one";
  install(false);
  EXPECT_EQ(engine->failure().value_or(Failure{}).reason, "\"x\" is damaged");
}

TEST_F(GraphRig, AFileThatIsCutShortIsRefusedOrReadUpToTheDamage) {
  std::minstd_rand random(1);
  Sound noise{48000, 1, std::vector<float>(60'000)};
  for (float& sample : noise.samples) sample = std::uniform_real_distribution<float>(-0.5F, 0.5F)(random);
  const auto cut = [&](const std::string& name, int format) {
    const std::string path = mFolder.file(name);
    writeSound(path, noise, format);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    return Url::fromPath(path);
  };
  std::optional<PlatformError> error;
  EXPECT_FALSE(services.graphs->openFile(cut("cut.oga", SF_FORMAT_OGG | SF_FORMAT_VORBIS), error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), status::invalidFile);
  EXPECT_THAT(error->localizedDescription(), HasSubstr("cut.oga\" is cut short: it lacks its last page"));

  const auto file = services.graphs->openFile(cut("cut.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16), error);
  ASSERT_TRUE(file);
  std::vector<float> samples(4096);
  float* const planes[] = {samples.data()};
  std::uint64_t frames = 0;
  std::uint32_t read = 0;
  while (!(error = file->read(frames, 4096, planes, read))) {
    ASSERT_GT(read, 0U);
    for (std::uint32_t i = 0; i < read; ++i) ASSERT_NEAR(samples[i], noise.samples[frames + i], 1e-4) << frames + i;
    frames += read;
  }
  EXPECT_GT(frames, 20'000U);
  EXPECT_THAT(error->localizedDescription(), HasSubstr(" at frame " + std::to_string(frames)));
  EXPECT_TRUE(file->read(frames, 4096, planes, read)) << "the damage stays";
}

TEST_F(GraphRig, ASlowReaderIsNoGapWhereASoundBegins) {
  const auto player = makePlayer({48000, 1, {0.5F}});
  player->play();
  EXPECT_FALSE(engine->start());
  for (int i = 0; i < 3; ++i) play();
  ASSERT_TRUE(player->isFinished());
  const auto slow = std::make_shared<ScriptedFile>(99'999, 0.25F);
  slow->onRead = [&] { slice(64); };
  player->scheduleFile(slow);
  player->play();
  EXPECT_EQ(play(), 0.25F);
  EXPECT_EQ(services.deviceReport->runCount().discontinuities, 0U);
}

TEST_F(GraphRig, RefusesWhatCannotRun) {
  const auto start = [&] {
    const auto error = engine->start();
    return error ? std::to_string(error->code()) + " " + error->localizedDescription() : "";
  };
  const auto player = services.graphs->makePlayerNode();
  EXPECT_EQ(reasonOf([&] { player->play(); }), "the player node is not connected to the main mixer");
  EXPECT_NE(reasonOf([&] { engine->connect(player, engine->mainMixerNode(), {}); }), "");
  EXPECT_EQ(start(), "");
  engine->stop();
  const auto session = services.sessions->makeAuxiliary();
  const std::uint32_t identifier = session->identifier();
  EXPECT_FALSE(session->setCategory(category::record));
  EXPECT_EQ(services.units->setProperty(engine->outputNode()->unit(), UnitProperty::sessionIdentifier,
                                        UnitScope::global, 0, &identifier, 4),
            0);
  EXPECT_EQ(start(), "") << "neither side is used";
  engine->stop();
  const auto playing = makePlayer({48000, 1, {1}});
  EXPECT_THAT(start(), StartsWith("-16 the session's category"));
  EXPECT_EQ(services.deviceReport->lastRefusal()->call, "GraphEngine::start");
  EXPECT_FALSE(session->setCategory(category::playback));
  EXPECT_EQ(start(), "");
  engine->stop();
  loseDevice();
  EXPECT_EQ(start(), "-9 gone");
}

TEST_F(GraphRig, GoesOnWhenTheDeviceChanges) {
  std::uint32_t frames = 0;
  const auto input = engine->inputNode();
  input->installTap(0, 480, input->inputFormat(0),
                    [&](const PcmBuffer* buffer, const RenderTimeStamp&) { frames += buffer->frames(); });
  const auto player = makePlayer({48000, 1, std::vector<float>(4800, 0.5F)});
  player->play();
  EXPECT_FALSE(engine->start());
  for (int i = 0; i < 10; ++i) EXPECT_EQ(play(240), 0.5F);
  change({24000, 1, 1, 256});
  settle();
  for (int i = 0; i < 20; ++i) play(120);
  EXPECT_TRUE(player->isFinished());
  engine->stop();
  EXPECT_EQ(frames, 2400U + 20 * 240) << "in the format of the tap";
  EXPECT_FALSE(engine->failure());
}

/// Races between the callers, the tap, the player and the device in real time.
TEST(Graphs, AreStoppedAndReleasedWhileTheyRun) {
  const TemporaryFolder folder;
  use(makeSimulatedHost("mic=tone:440:0.5,slice=64"));
  const std::string first = folder.file("a.wav"), take = folder.file("take.wav");
  writeSound(first, {44100, 2, std::vector<float>(40'000, 0.5F)});
  for (int round = 0; round < 8; ++round) {
    auto engine = OVEngine::init();
    engine->playAudioFile(first);
    engine->recordAudioFile("file://" + take);
    for (const auto pause : {0ms, 3ms, 90ms}) {
      engine->start();
      std::this_thread::sleep_for(pause);
      engine->setEnableSilenceDetection(pause == 3ms);
      if (round % 2 == 0) engine->stop();
      if (pause == 3ms) engine->playAudioFile(first);
    }
    const auto graph = engine->engine();
    const auto player = engine->player();
    if (round == 3) engine->recordAudioFile("file://" + take);
    engine.reset();
    // The engine that the caller still holds has neither tap nor file.
    EXPECT_EQ(current().fileReport->writtenFiles().back().frames, readSound(take).frames());
    EXPECT_FALSE(round > 4 && graph->start());
    player->play();
    EXPECT_FALSE(graph->failure());
  }
  const auto files = current().fileReport->writtenFiles();
  EXPECT_EQ(files.size(), 9U);
  EXPECT_TRUE(std::ranges::any_of(files, [](const auto& each) { return each.frames > 4096; }));
  use({});
}

TEST(Graphs, EndTheirTapWithinTheTapsThread) {
  use(makeSimulatedHost("mic=silence"));
  const TemporaryFolder folder;
  std::string log;
  current().log->setSink([&](LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
  const auto engine = OVEngine::init();
  engine->setEnableSilenceDetection(true);
  engine->recordAudioFile("file://" + folder.file("take.wav"));
  const std::shared_ptr<Waiter> failed = current().scheduler->makeWaiter();
  const auto notice = engine->engine()->onFailure([failed] { failed->signal(); });
  engine->start();
  ASSERT_TRUE(failed->wait(10s));
  EXPECT_EQ(engine->engine()->failure()->reason, OVEngine::silenceMessage);
  EXPECT_EQ(current().fileReport->writtenFiles().at(0).frames, 0U) << "complete already";
  engine->stop();
  EXPECT_EQ(log, "Failure: " + std::string(OVEngine::silenceMessage) + "\n") << "said once";
  use({});
}

}  // namespace
}  // namespace orvane::test
