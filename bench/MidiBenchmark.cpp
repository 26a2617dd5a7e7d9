// SPDX-License-Identifier: MIT

// Benchmarks of MIDI: the dump of packet lists is compared with one `printf` a byte, the parser of hexadecimal text
// with a character-by-character form that appends to a growing array, and the lookup by name with one that copies each
// name.

#include <benchmark/benchmark.h>

#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/PerSample.h"
#include "midi/EndpointLookup.h"
#include "midi/HexDump.h"
#include "midi/HexText.h"
#include "midi/OVMIDIBase.h"
#include "platform/Hosts.h"
#include "platform/PacketList.h"

namespace orvane {

namespace {

/// A list of packets of one length, with successive time stamps.
class List {
 public:
  explicit List(std::size_t packetBytes) : mMemory(1 << 15) {
    const std::vector<std::uint8_t> bytes(packetBytes, 0x3C);
    std::uint8_t* current = platform::initPacketList(get());
    for (std::uint64_t time = 1'234'567'890'123; get().numPackets < maxPackets; ++time) {
      current = platform::addToPacketList(get(), 4 * mMemory.size(), current, time, bytes);
    }
  }
  platform::PacketList& get() { return *reinterpret_cast<platform::PacketList*>(mMemory.data()); }

  static constexpr std::uint32_t maxPackets = 32;

 private:
  std::vector<std::uint32_t> mMemory;
};

/// Redirects standard output to nowhere while it exists.
class NoOutput {
 public:
  NoOutput() { std::swap(stdout, mFile); }
  ~NoOutput() {
    std::swap(stdout, mFile);
    std::fclose(mFile);
  }
  NoOutput(const NoOutput&) = delete;
  NoOutput& operator=(const NoOutput&) = delete;

 private:
  FILE* mFile = std::fopen("/dev/null", "w");
};

void plainDump(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  List list(size);
  const NoOutput none;
  for ([[maybe_unused]] auto _ : state) {
    bool isFirst = true;
    for (const platform::MidiPacket packet : platform::PacketRange(list.get())) {
      if (!isFirst) std::printf(" ");
      isFirst = false;
      std::printf("[%lld]:", static_cast<long long>(packet.timeStamp));
      for (const std::uint8_t byte : packet.data) std::printf(" %02X", byte);
    }
    std::printf("\n");
  }
  reportPerSample(state, size * List::maxPackets);
}

void dump(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  List list(size);
  const NoOutput none;
  for ([[maybe_unused]] auto _ : state) OVMIDIBase::hexDumpPacketList(list.get(), true);
  reportPerSample(state, size * List::maxPackets);
}

void packetSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("bytes")->Arg(3)->Arg(16)->Arg(256);
}
BENCHMARK(plainDump)->Name("dump/plain")->Apply(packetSizes);
BENCHMARK(dump)->Name("dump/hexDump")->Apply(packetSizes);

/// Returns text of groups of so many bytes.
std::string textOf(std::size_t groupBytes) {
  std::string text;
  for (std::size_t byte = 1; text.size() < 3000; ++byte) text += byte % groupBytes == 0 ? "7F | " : "90 ";
  return text;
}

void plainText(benchmark::State& state) {
  const std::string text = textOf(static_cast<std::size_t>(state.range(0)));
  for ([[maybe_unused]] auto _ : state) {
    std::vector<std::uint8_t> group;
    int pending = 0, digits = 0;
    std::uint64_t sum = 0;
    for (const char character : text) {
      const auto code = static_cast<unsigned char>(character);
      if (std::isspace(code) != 0) continue;
      if (character == '|') {
        sum += group.size();
        group.clear();
        continue;
      }
      if (std::isxdigit(code) == 0) break;
      pending = pending * 16 + (std::isdigit(code) != 0 ? code - '0' : std::toupper(code) - 'A' + 10);
      if (++digits < 2) continue;
      group.push_back(static_cast<std::uint8_t>(pending));
      pending = digits = 0;
    }
    benchmark::DoNotOptimize(sum + group.size());
  }
  reportPerSample(state, text.size());
}

void readText(benchmark::State& state) {
  const std::string text = textOf(static_cast<std::size_t>(state.range(0)));
  for ([[maybe_unused]] auto _ : state) {
    std::uint64_t sum = 0;
    readHexText(text, [&](std::uint64_t, std::span<const std::uint8_t> group) { sum += group.size(); });
    benchmark::DoNotOptimize(sum);
  }
  reportPerSample(state, text.size());
}
BENCHMARK(plainText)->Name("text/plain")->Apply(packetSizes);
BENCHMARK(readText)->Name("text/readHexText")->Apply(packetSizes);

/// Looks up the last destination of the default inventory.
void lookUp(benchmark::State& state) {
  const platform::Platform host = platform::makeSimulatedHost();
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(destinationWithName(host, "Loopback"));
}
BENCHMARK(lookUp)->Name("lookup/byName");

}  // namespace

}  // namespace orvane
