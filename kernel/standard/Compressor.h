// Compressor: what every stream coder offers, and the sink that its output goes to.
//
// Two directions, each opened by Begin and closed by End; they do not disturb each other. Output
// goes to a counted sink as it comes to be, in pieces of the coder's choice. Where the input is
// cut into calls never changes what comes out. A coder serves one thread at a time.

#pragma once

#include <cstddef>
#include <cstdint>

#include "kernel/Containers.h"

namespace Zef {

/// Takes the bytes that a coder makes. Must not use that coder meanwhile.
class ByteSink : public ReferenceCount {
 public:
  /// False ends the coder's work; `bytes` is valid during the call.
  [[nodiscard]] virtual bool Write(const void* bytes, std::uint32_t size) = 0;
};

/// The count is a virtual base, so that a plug-in is a coder and an instance of its factory at
/// once.
class Compressor : public virtual ReferenceCount {
 public:
  /// A whole stream into a block of `capacity` bytes: bytes written, or `capacity` + 1 when the
  /// stream holds more than fits.
  [[nodiscard]] virtual std::size_t Decompress(void* to, std::size_t capacity, const void* from,
                                               std::size_t length) = 0;

  /// Opens a stream; what was open is dropped. False without a sink.
  virtual bool BeginCompress(Ref<ByteSink> sink, std::uint32_t level) = 0;
  /// False when the sink fails, which drops the stream, or nothing was begun.
  [[nodiscard]] virtual bool Compress(const void* data, std::size_t length) = 0;
  /// Writes what is held back and gives up the sink.
  [[nodiscard]] virtual bool EndCompress() = 0;

  virtual bool BeginDecompress(Ref<ByteSink> sink) = 0;
  /// False when the sink fails or the input is no stream of this coder, which drops the stream, or
  /// nothing was begun.
  [[nodiscard]] virtual bool Decompress(const void* data, std::size_t length) = 0;
  [[nodiscard]] virtual bool EndDecompress() = 0;

  /// Does nothing; keeps the place between its neighbours.
  virtual void Unused() {}

  /// Gives back the memory of both directions and drops what was open.
  virtual void FreeBuffers() = 0;
};

}  // namespace Zef
