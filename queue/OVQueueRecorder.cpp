// SPDX-License-Identifier: MIT
#include "queue/OVQueueRecorder.h"

#include <utility>

#include "queue/QueueRecorder.h"

namespace platform = orvane::platform;

std::shared_ptr<OVQueueRecorder> OVQueueRecorder::initWithFilePath(std::string filePath) {
  return std::shared_ptr<OVQueueRecorder>(new OVQueueRecorder(std::move(filePath), std::nullopt));
}

std::shared_ptr<OVQueueRecorder> OVQueueRecorder::initWithFilePath(std::string filePath,
                                                                   const platform::StreamFormat& fileFormat) {
  return std::shared_ptr<OVQueueRecorder>(new OVQueueRecorder(std::move(filePath), fileFormat));
}

OVQueueRecorder::OVQueueRecorder(std::string filePath, std::optional<platform::StreamFormat> fileFormat)
    : _filePath(std::move(filePath)), _fileFormat(std::move(fileFormat)) {
  makeImplementation();
}

OVQueueRecorder::~OVQueueRecorder() {
  // The properties are released before the worker is destroyed.
  _fileFormat.reset();
  _session.reset();
}

void OVQueueRecorder::makeImplementation() {
  mImpl = std::make_unique<orvane::QueueRecorder>(_filePath, _fileFormat ? &*_fileFormat : nullptr);
}

void OVQueueRecorder::setFileFormat(std::optional<platform::StreamFormat> fileFormat) {
  _fileFormat = std::move(fileFormat);
  _isFormatNew = !_hasStarted;
}

const platform::StreamDescription& OVQueueRecorder::recordedFormat() const {
  return mImpl->format();
}

void OVQueueRecorder::start() {
  if (_isFormatNew) makeImplementation();
  _isFormatNew = false;
  if (_session) mImpl->bindToSession(*_session);
  mImpl->start();
  _hasStarted = true;
}

void OVQueueRecorder::stop() {
  mImpl->stop();
}
