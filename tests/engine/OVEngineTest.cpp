// SPDX-License-Identifier: MIT
#include <limits>
#include <map>

#include "engine/OVEngine.h"
#include "platform/GraphEngine.h"
#include "platform/PlatformSession.h"
#include "session/OVPrimarySession.h"
#include "session/OVSession.h"
#include "tests/support/ScriptedHost.h"

namespace orvane::test {
namespace {

using namespace platform;

/// A graph service whose objects record their calls. A call succeeds unless the test lets it fail or throw.
class ScriptedGraph : public testing::Test, protected ScriptedHost {
 protected:
  struct Buffer final : PcmBuffer {
    explicit Buffer(std::vector<double> levels) : powers(std::move(levels)) {}
    const platform::StreamFormat& format() const override { return mFormat; }
    std::uint32_t frames() const override { return 0; }
    std::span<const float* const> planes() const override { return {}; }
    std::vector<double> averagePowerPerChannel() const override { return powers; }
    std::vector<double> powers;
    platform::StreamFormat mFormat;
  };
  struct File final : PcmFile {
    File(ScriptedGraph& graph, std::string place) : mGraph(graph), mPlace(std::move(place)) {}
    ~File() override { mGraph.graph("close " + mPlace); }
    platform::StreamFormat processingFormat() const override { return platform::StreamFormat::standard(44100, 3); }
    std::optional<PlatformError> read(std::uint64_t, std::uint32_t, std::span<float* const>, std::uint32_t&) override {
      return std::nullopt;
    }
    std::optional<PlatformError> write(const PcmBuffer&) override { return mGraph.graph("write " + mPlace); }
    ScriptedGraph& mGraph;
    const std::string mPlace;
  };
  struct Player final : PlayerNode {
    explicit Player(ScriptedGraph& graph) : mGraph(graph) {}
    void scheduleFile(std::shared_ptr<PcmFile>) override { mGraph.graph("schedule"); }
    void prepare(std::uint32_t frames) override { mGraph.graph("prepare " + std::to_string(frames)); }
    void play() override { mGraph.graph("play"); }
    bool isFinished() const override { return false; }
    Subscription onFinished(std::function<void()>) override { return {}; }
    ScriptedGraph& mGraph;
  };
  struct Input final : InputNode {
    explicit Input(ScriptedGraph& graph) : mGraph(graph) {}
    platform::StreamFormat inputFormat(std::uint32_t bus) const override {
      mGraph.graph("format of " + std::to_string(bus));
      return platform::StreamFormat::standard(16000, 2);
    }
    void installTap(std::uint32_t bus, std::uint32_t frames, const platform::StreamFormat& format,
                    TapFunction function) override {
      EXPECT_EQ(format, platform::StreamFormat::standard(16000, 2));
      mGraph.graph("tap " + std::to_string(bus) + " by " + std::to_string(frames));
      mGraph.tap = std::move(function);
    }
    void removeTap(std::uint32_t bus) override {
      mGraph.graph("remove tap " + std::to_string(bus));
      mGraph.tap = nullptr;
    }
    ScriptedGraph& mGraph;
  };
  struct Output final : OutputNode {
    UnitInstance unit() const override { return UnitInstance{77}; }
  };
  struct Engine final : GraphEngine {
    explicit Engine(ScriptedGraph& graph) : mGraph(graph) {}
    std::optional<PlatformError> start() override { return mGraph.graph("start"); }
    void stop() override { mGraph.graph("stop"); }
    void attach(const std::shared_ptr<GraphNode>&) override { mGraph.graph("attach"); }
    void connect(const std::shared_ptr<GraphNode>&, const std::shared_ptr<GraphNode>& target,
                 const platform::StreamFormat& format) override {
      EXPECT_TRUE(target == mMixer && format == platform::StreamFormat::standard(44100, 3));
      mGraph.graph("connect");
    }
    std::shared_ptr<GraphNode> mainMixerNode() override { return mMixer; }
    std::shared_ptr<InputNode> inputNode() override { return mGraph.graph("input"), mInput; }
    std::shared_ptr<OutputNode> outputNode() override { return std::make_shared<Output>(); }
    std::optional<Failure> failure() const override { return std::nullopt; }
    Subscription onFailure(std::function<void()>) override { return {}; }
    ScriptedGraph& mGraph;
    const std::shared_ptr<GraphNode> mMixer = std::make_shared<Player>(mGraph);
    const std::shared_ptr<Input> mInput = std::make_shared<Input>(mGraph);
  };
  struct Service final : GraphService {
    explicit Service(ScriptedGraph& graph) : mGraph(graph) {}
    std::shared_ptr<GraphEngine> makeEngine() override {
      return mGraph.graph("engine"), std::make_shared<Engine>(mGraph);
    }
    std::shared_ptr<PlayerNode> makePlayerNode() override {
      return mGraph.graph("player"), std::make_shared<Player>(mGraph);
    }
    std::shared_ptr<PcmFile> openFile(const Url& url, std::optional<PlatformError>& error) override {
      error = mGraph.graph("open " + url.path());
      return error ? nullptr : std::make_shared<File>(mGraph, url.path());
    }
    std::shared_ptr<PcmFile> createFile(const Url& url, const FormatSettings& settings,
                                        std::optional<PlatformError>& error) override {
      EXPECT_EQ(settings, (FormatSettings{linearPcmFormatID, 16000, 2, 32, true}));
      error = mGraph.graph("create " + url.path());
      return error ? nullptr : std::make_shared<File>(mGraph, url.path());
    }
    ScriptedGraph& mGraph;
  };

  ScriptedGraph() {
    Platform services = current();
    services.graphs = std::make_shared<Service>(*this);
    use(services);
  }

  /// Records a call, and answers it as the test has set.
  std::optional<PlatformError> graph(const std::string& call) {
    calls += (calls.empty() ? "" : " > ") + call;
    const std::string name = call.substr(0, call.find(' '));
    if (throwing.contains(name)) throw PlatformException("X", throwing.at(name));
    if (failing.contains(name)) return PlatformError(status::ioFailure, "", failing.at(name));
    return std::nullopt;
  }
  std::string taken() { return std::exchange(calls, {}); }

  std::string calls;
  std::map<std::string, std::string> failing;   ///< The errors of calls, by the first word of the call.
  std::map<std::string, std::string> throwing;  ///< The exceptions of calls.
  TapFunction tap;
};

TEST_F(ScriptedGraph, TakesItsStepsInOrder) {
  auto engine = OVEngine::init();
  EXPECT_TRUE(!engine->enableSilenceDetection() && !engine->session() && !engine->player() && !engine->input());
  engine->start();
  EXPECT_EQ(taken(), "engine > start");
  engine->playAudioFile("/a%20b.wav");
  EXPECT_EQ(taken(), "open /a%20b.wav > player > attach > connect > schedule > prepare 4096 > close /a%20b.wav");
  const auto player = engine->player();
  engine->playAudioFile("/c.wav");
  EXPECT_EQ(taken(), "open /c.wav > schedule > prepare 4096 > close /c.wav");
  EXPECT_TRUE(player && player == engine->player());
  engine->recordAudioFile("file:///a%20b.wav");
  EXPECT_EQ(taken(), "input > format of 0 > create /a b.wav > tap 0 by 4096");
  EXPECT_TRUE(engine->input());
  engine->stop();
  engine->start();
  EXPECT_EQ(taken(), "stop > start > play");
  engine->recordAudioFile("file:/c.wav");
  EXPECT_EQ(taken(), "input > format of 0 > remove tap 0 > close /a b.wav > create /c.wav > tap 0 by 4096");
  engine.reset();
  EXPECT_EQ(taken(), "stop > remove tap 0 > close /c.wav");
}

TEST_F(ScriptedGraph, RaisesEveryFailureOfTheCaller) {
  const std::string started = "SGE start failed: ";
  struct Row {
    std::map<std::string, std::string> failing, throwing;
    std::function<void(OVEngine&)> action;
    std::string reason, calls;
  };
  const auto start = [](OVEngine& engine) { engine.start(); };
  const auto record = [](const char* url) { return [url](OVEngine& engine) { engine.recordAudioFile(url); }; };
  const std::string nil = "File URL provided is nil", input = "input > format of 0";
  const Row rows[] = {
      {{{"open", "gone"}},
       {},
       [](OVEngine& each) { each.playAudioFile("/b"); },
       "SGE playAudioFile failed: gone",
       "open /b"},
      {{}, {}, record(""), nil, input},
      {{}, {}, record("/tmp/a.wav"), nil, input},
      {{}, {}, record("file:///a%2"), nil, input},
      {{}, {}, record("file:///a b"), nil, input},
      {{{"create", "no"}},
       {},
       record("http://a/b"),
       "Creating input recording file failed: no",
       input + " > create /b"},
      {{{"start", "E"}}, {}, start, started + "E", "start > play"},
      {{}, {{"start", "T"}}, start, started + "T", "start"},
      {{}, {{"play", "P"}}, start, started + "P", "start > play"},
      {{{"start", "E"}}, {{"play", "P"}}, start, started + "P", "start > play"},
  };
  for (const Row& row : rows) {
    const auto engine = OVEngine::init();
    engine->playAudioFile("/a");
    taken();
    failing = row.failing;
    throwing = row.throwing;
    EXPECT_EQ(reasonOf([&] { row.action(*engine); }), row.reason);
    EXPECT_EQ(logged.back(), "error: Failure: " + row.reason);
    EXPECT_EQ(taken(), row.calls) << row.reason;
    EXPECT_TRUE(engine->player() && !tap);
    EXPECT_EQ(engine->input() != nullptr, row.calls.starts_with(input)) << "set before what fails";
    failing.clear();
    throwing.clear();
  }
  Platform services = current();
  services.graphs = nullptr;
  use(services);
  EXPECT_EQ(reasonOf([] { OVEngine::init(); }), "GraphService is not available on this host");
}

TEST_F(ScriptedGraph, BindsAuxiliarySessionsOnly) {
  const auto engine = OVEngine::init();
  engine->setSession(OVPrimarySession::init());
  engine->start();
  EXPECT_EQ(taken() + takeCalls(), "engine > start");
  const auto session = OVSession::init();
  const auto identifier = std::to_string(dynamic_cast<PlatformSession&>(*session->session()).identifier());
  engine->setSession(session);
  engine->start();
  EXPECT_EQ(taken() + takeCalls(),
            "start"
            "setSession " +
                identifier);
  answers["setSession"] = [] { return -50; };
  EXPECT_EQ(reasonOf([&] { engine->start(); }),
            "setSession failed -- UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: " + identifier);
  EXPECT_EQ(taken(), "") << "the engine is not started";
  engine->setSession(nullptr);
  engine->start();
  EXPECT_EQ(taken(), "start");
}

TEST_F(ScriptedGraph, ChecksEachBufferBeforeItIsWritten) {
  const auto engine = OVEngine::init();
  engine->recordAudioFile("file:///a.wav");
  taken();
  const auto deliver = [&](std::vector<double> powers) {
    const Buffer buffer(std::move(powers));
    const std::string reason = reasonOf([&] { tap(&buffer, {}); });
    return reason + taken();
  };
  const std::string silence = "Average power per channel is below threshold of -160 dB", written = "write /a.wav";
  EXPECT_EQ(deliver({-160}), written) << "detection is off at first";
  engine->setEnableSilenceDetection(true);
  constexpr double infinity = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  const std::pair<std::vector<double>, std::string> rows[] = {
      {{-160, 0}, silence},   {{0, -160}, silence},  {{-160.9}, silence},     {{-1e300}, silence},
      {{-infinity}, silence}, {{0, nan}, silence},   {{-159.9, 0}, written},  {{0}, written},
      {{}, written},          {{infinity}, written}, {{-159.999, 1}, written}};
  for (const auto& [powers, wanted] : rows) EXPECT_EQ(deliver(powers), wanted) << testing::PrintToString(powers);
  EXPECT_EQ(logged.back(), "error: Failure: " + silence);
  for (const bool detects : {true, false}) {
    engine->setEnableSilenceDetection(detects);
    EXPECT_EQ(reasonOf([&] { tap(nullptr, {}); }), "Buffer received is nil, cannot write to file");
    failing["write"] = "full";
    EXPECT_EQ(deliver({0}), "Writing to input recording file failed: full" + written);
    failing.clear();
  }
  EXPECT_EQ(deliver({-160}), written) << "detection is off again";
}

}  // namespace
}  // namespace orvane::test
