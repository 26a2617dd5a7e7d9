// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// Returns whether a file is an Ogg file that is cut short: whether its last whole page is not the last page of its
/// stream, or a part of a page follows. Returns false for any other file, and for one that cannot be read. Keeps the
/// file's position. Thread-safe; not real-time safe.
bool lacksLastOggPage(int file);

}  // namespace orvane::host
