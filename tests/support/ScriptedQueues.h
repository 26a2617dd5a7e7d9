// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>
#include <deque>
#include <map>
#include <span>

#include "platform/BufferQueue.h"
#include "platform/FormatInfoService.h"
#include "platform/Hosts.h"
#include "platform/Log.h"
#include "platform/SoundFileService.h"
#include "tests/support/Test.h"

namespace orvane::test {

using platform::BufferQueue, platform::QueueBuffer, platform::QueueProperty, platform::SoundFile,
    platform::SoundFileFormat, platform::SoundFileInfo, platform::SoundFileProperty, platform::Status,
    platform::StreamDescription;

/// A host with one buffer queue and one sound file, which is in use during a test. It records the log lines and the
/// calls of its services. A call succeeds unless the test has set another answer for it. The test makes the queue's
/// callbacks. Time is simulated.
class ScriptedQueues : platform::Log,
                       platform::BufferQueueService,
                       platform::SoundFileService,
                       platform::FormatInfoService {
 public:
  using Bytes = std::vector<std::byte>;

  ScriptedQueues() {
    services = platform::makeSimulatedHost("pace=fast");
    const std::shared_ptr<void> nobody;
    services.log = std::shared_ptr<platform::Log>(nobody, this);
    services.bufferQueues = std::shared_ptr<platform::BufferQueueService>(nobody, this);
    services.soundFiles = std::shared_ptr<platform::SoundFileService>(nobody, this);
    services.formatInfo = std::shared_ptr<platform::FormatInfoService>(nobody, this);
    platform::use(services);
  }
  ~ScriptedQueues() override { platform::use(mBefore); }

  /// Returns the calls since the last `takeCalls`, such as "open a.wav > close".
  std::string takeCalls() { return std::exchange(calls, {}); }

  /// Calls the client back with buffer `index` as the device would; null for an index that no buffer has.
  void deliver(std::size_t index, std::uint32_t bytes, std::uint32_t packets,
               const platform::PacketDescription* descriptions = nullptr) {
    QueueBuffer* const buffer = index < buffers.size() ? &buffers[index] : nullptr;
    if (buffer != nullptr) buffer->byteSize = bytes;
    inputCallback(mContext, queue, buffer, {}, packets, descriptions);
  }
  /// Gives buffer `index` back to the client.
  void takeBack(std::size_t index) { outputCallback(mContext, queue, &buffers[index]); }
  /// Calls the listeners of a property.
  void notify(QueueProperty property) { notify(queue, property); }

  /// A result of `readPackets`.
  struct Read {
    Status status = 0;
    std::uint32_t packets = 0;
    std::uint32_t bytes = 0;
  };
  /// A file type of the catalogue. A part that is not set is refused.
  struct Type {
    std::uint32_t code = 0;
    std::optional<std::string> name;
    std::optional<std::vector<std::string>> extensions = {};
    std::map<std::uint32_t, std::vector<StreamDescription>> formats = {};
  };

  BufferQueue queue{7};  ///< The queue that was created last.
  static constexpr SoundFile file{9};
  platform::Platform services;
  std::string calls;
  std::vector<std::string> logged;
  std::map<std::string, Status> answers;      ///< The test's answers, by name of the call.
  std::map<QueueProperty, Bytes> ofQueue;     ///< The queue's properties.
  std::map<SoundFileProperty, Bytes> ofFile;  ///< The file's properties.
  std::size_t missing = 0;                    ///< How much smaller the file's properties are than announced, in bytes.
  bool cookieIsWritable = true;
  bool reportsStop = true;                   ///< Whether `stop` notifies the listeners of `isRunning`.
  std::function<void()> duringStop = [] {};  ///< Runs inside `stop`.
  std::optional<std::uint32_t> written;      ///< What `writePackets` reports, if not all packets.
  std::deque<Read> reads;                    ///< What `readPackets` returns; then the end of the file.
  std::vector<Type> types;
  std::vector<std::uint32_t> decodable, encodable;
  std::deque<QueueBuffer> buffers;
  platform::QueueInputCallback inputCallback = nullptr;
  platform::QueueOutputCallback outputCallback = nullptr;

  template <typename Object>
  static Bytes bytesOf(const Object& object) {
    const auto view = std::as_bytes(std::span(&object, 1));
    return {view.begin(), view.end()};
  }

 private:
  Status note(const std::string& call, const std::string& details = {}) {
    calls += (calls.empty() ? "" : " > ") + call + (details.empty() ? "" : " ") + details;
    return answers.contains(call) ? answers.at(call) : 0;
  }
  static std::string number(std::uint64_t value) { return std::to_string(value); }
  static std::string kind(QueueProperty property) { return number(static_cast<std::uint32_t>(property)); }
  static std::string kind(SoundFileProperty property) { return number(static_cast<std::uint32_t>(property)); }

  static Status copy(const Bytes& bytes, std::uint32_t& size, void* data) {
    size = static_cast<std::uint32_t>(std::min<std::size_t>(bytes.size(), size));
    if (size > 0) std::memcpy(data, bytes.data(), size);
    return 0;
  }

  // Log
  void write(platform::LogLevel level, std::string_view line) override {
    logged.push_back((level == platform::LogLevel::error ? "error: " : "other: ") + std::string(line));
    std::fprintf(stderr, "%s\n", logged.back().c_str());  // For tests of the end of the process.
  }
  void setSink(Sink) override {}

  // BufferQueueService
  Status createInput(const StreamDescription& format, platform::QueueInputCallback callback, void* context,
                     BufferQueue& made) override {
    inputCallback = callback;
    return create("createInput", format, context, made);
  }
  Status createOutput(const StreamDescription& format, platform::QueueOutputCallback callback, void* context,
                      BufferQueue& made) override {
    outputCallback = callback;
    return create("createOutput", format, context, made);
  }
  Status create(const std::string& call, const StreamDescription& format, void* context, BufferQueue& made) {
    mContext = context;
    buffers.clear();
    ofQueue.try_emplace(QueueProperty::streamDescription, bytesOf(format));
    const Status status = note(call);
    made = status == 0 ? queue = static_cast<BufferQueue>(static_cast<std::uint32_t>(queue) + 1) : BufferQueue::none;
    return status;
  }
  Status propertySize(BufferQueue, QueueProperty property, std::uint32_t& size) override {
    size = static_cast<std::uint32_t>(ofQueue[property].size());
    return note("queue size " + kind(property));
  }
  Status property(BufferQueue, QueueProperty property, void* data, std::uint32_t& size) override {
    const Status status = property == QueueProperty::isRunning ? 0 : note("queue property " + kind(property));
    return status != 0 ? status : copy(ofQueue[property], size, data);
  }
  Status setProperty(BufferQueue, QueueProperty property, const void* data, std::uint32_t size) override {
    const auto* const bytes = static_cast<const std::byte*>(data);
    ofQueue[property].assign(bytes, bytes + size);
    return note("set queue property " + kind(property), "to " + number(size) + " bytes");
  }
  Status addPropertyListener(BufferQueue of, QueueProperty property, platform::QueuePropertyListener listener,
                             void* context) override {
    mListeners.emplace_back(of, property, listener, context);
    return note("listen " + kind(property));
  }
  Status allocateBuffer(BufferQueue, std::uint32_t size, QueueBuffer*& buffer) override {
    const Status status = note("allocateBuffer", number(size));
    mMemory.emplace_back(size);
    buffer = &buffers.emplace_back(QueueBuffer{.capacity = size, .data = mMemory.back().data()});
    return status;
  }
  Status enqueueBuffer(BufferQueue, QueueBuffer* buffer, std::uint32_t packets,
                       const platform::PacketDescription* descriptions) override {
    const auto index = std::ranges::find(buffers, buffer, [](QueueBuffer& each) { return &each; }) - buffers.begin();
    return note("enqueueBuffer", number(static_cast<std::uint64_t>(index)) +
                                     (descriptions == nullptr ? "" : " with " + number(packets)));
  }
  Status start(BufferQueue) override { return note("start"); }
  Status stop(BufferQueue stopped, bool immediate) override {
    const Status status = note(immediate ? "stop" : "stop later");
    duringStop();
    if (status == 0 && immediate && reportsStop) notify(stopped, QueueProperty::isRunning);
    return status;
  }
  Status dispose(BufferQueue disposed) override {
    notify(disposed, QueueProperty::isRunning);
    std::erase_if(mListeners, [disposed](const auto& each) { return std::get<0>(each) == disposed; });
    return note("dispose");
  }
  void notify(BufferQueue of, QueueProperty property) {
    for (const auto& [each, which, listener, context] : mListeners)
      if (each == of && which == property) listener(context, of, property);
  }

  // SoundFileService
  Status create(const std::string& path, std::uint32_t type, const StreamDescription& format,
                SoundFile& made) override {
    std::string code;
    for (const int shift : {24, 16, 8, 0}) code += static_cast<char>(type >> shift);
    const Status status = note("create", path + " " + code + " " + number(format.formatFlags));
    made = status == 0 ? file : SoundFile::none;
    return status;
  }
  Status open(const std::string& path, SoundFile& made) override {
    const Status status = note("open", path);
    made = status == 0 ? file : SoundFile::none;
    return status;
  }
  Status close(SoundFile) override { return note("close"); }
  Status propertyInfo(SoundFile, SoundFileProperty property, std::uint32_t& size, bool& isWritable) override {
    size = static_cast<std::uint32_t>(ofFile[property].size() + missing);
    isWritable = cookieIsWritable;
    return note("file size " + kind(property));
  }
  Status property(SoundFile, SoundFileProperty property, std::uint32_t& size, void* data) override {
    const Status status = note("file property " + kind(property));
    return status != 0 ? status : copy(ofFile[property], size, data);
  }
  Status setProperty(SoundFile, SoundFileProperty property, std::uint32_t size, const void*) override {
    return note("set file property " + kind(property), "to " + number(size) + " bytes");
  }
  Status writePackets(SoundFile, std::uint32_t bytes, const platform::PacketDescription* descriptions,
                      std::int64_t first, std::uint32_t& packets, const void*) override {
    const Status status =
        note("writePackets", number(bytes) + " bytes, " + number(packets) + " at " + std::to_string(first) +
                                 (descriptions == nullptr ? "" : " described"));
    packets = written.value_or(packets);
    return status;
  }
  Status readPackets(SoundFile, std::uint32_t& bytes, platform::PacketDescription* descriptions, std::int64_t first,
                     std::uint32_t& packets, void*) override {
    note("readPackets", number(packets) + " in " + number(bytes) + " at " + std::to_string(first) +
                            (descriptions == nullptr ? "" : " described"));
    Read read;
    if (!reads.empty()) {
      read = reads.front();
      reads.pop_front();
    }
    bytes = read.bytes;
    packets = read.packets;
    return read.status;
  }

  /// Answers a query of the catalogue; copies nothing if `data` is null. Returns a failure for a missing part.
  Status answer(SoundFileInfo info, std::span<const std::uint32_t> words, std::uint32_t& size, void* data) {
    const auto array = [&](const auto& elements) {
      const auto bytes = std::as_bytes(std::span(elements));
      if (data != nullptr) return copy({bytes.begin(), bytes.end()}, size, data);
      size = static_cast<std::uint32_t>(bytes.size());
      return Status{0};
    };
    const auto shared = [&]<typename Object>(const std::optional<Object>& object) -> Status {
      size = sizeof(std::shared_ptr<const Object>);
      if (object && data != nullptr) {
        *static_cast<std::shared_ptr<const Object>*>(data) = std::make_shared<const Object>(*object);
      }
      return object ? 0 : -1;
    };
    std::vector<std::uint32_t> codes;
    for (const Type& each : types) codes.push_back(each.code);
    if (info == SoundFileInfo::writableTypes) return array(codes);
    const auto type = std::ranges::find(types, words[0], &Type::code);
    if (info == SoundFileInfo::typeName) return shared(type->name);
    if (info == SoundFileInfo::typeExtensions) return shared(type->extensions);
    if (info == SoundFileInfo::streamDescriptions) return array(type->formats[words[1]]);
    codes.clear();
    for (const auto& [code, variants] : type->formats) codes.push_back(code);
    return array(codes);
  }
  Status globalInfoSize(SoundFileInfo info, std::uint32_t size, const void* words, std::uint32_t& bytes) override {
    const Status status = note("size of " + number(static_cast<std::uint32_t>(info)));
    return status != 0 ? status : answer(info, {static_cast<const std::uint32_t*>(words), size / 4}, bytes, nullptr);
  }
  Status globalInfo(SoundFileInfo info, std::uint32_t size, const void* words, std::uint32_t& bytes,
                    void* data) override {
    const Status status = note("data of " + number(static_cast<std::uint32_t>(info)));
    return status != 0 ? status : answer(info, {static_cast<const std::uint32_t*>(words), size / 4}, bytes, data);
  }

  // FormatInfoService
  const std::vector<std::uint32_t>& codes(platform::FormatInfo info) const {
    return info == platform::FormatInfo::decodableIDs ? decodable : encodable;
  }
  Status infoSize(platform::FormatInfo info, std::uint32_t& size) override {
    size = static_cast<std::uint32_t>(codes(info).size() * 4);
    return note("size of codecs " + number(static_cast<std::uint32_t>(info)));
  }
  Status info(platform::FormatInfo info, std::uint32_t& size, void* data) override {
    const auto bytes = std::as_bytes(std::span(codes(info)));
    const Status status = note("data of codecs " + number(static_cast<std::uint32_t>(info)));
    return status != 0 ? status : copy({bytes.begin(), bytes.end()}, size, data);
  }

  const platform::Platform mBefore = platform::current();
  void* mContext = nullptr;
  std::deque<Bytes> mMemory;
  std::vector<std::tuple<BufferQueue, QueueProperty, platform::QueuePropertyListener, void*>> mListeners;
};

}  // namespace orvane::test
