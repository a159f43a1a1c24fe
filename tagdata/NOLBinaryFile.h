// NOLBinaryFile: a binary tag file in memory, read whole, checked once, and used in place.
//
// Loading costs one read and one walk over the record headers; nothing is unpacked. The root it
// hands out, and every node below, are views into the image and keep it alive. Edits made
// through those views go to an overlay and never touch the image. docs/format-tagfile.md has the
// byte tables.
//
// All damage, from a wrong magic to a record that does not fit, gives the same: no image, and the
// null chunk as root. Reading takes no memory on the word of a header.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "tagdata/HCSChunk.h"
#include "tagdata/TagImage.h"
#include "tagdata/TagOverlay.h"

namespace Zef {
class TStream;
}

/// A file that yields a tag tree.
class HCSFile : public Zef::ReferenceCountMP {
 public:
  /// Replaces what the file holds. False, and nothing held, when the stream has no such file;
  /// nothing is held either when the stream raises a failure.
  virtual bool Read(Zef::TStream& stream) = 0;
  virtual ChunkRef GetRoot() = 0;
};

class NOLBinaryFile final : public HCSFile {
 public:
  static constexpr std::uint32_t kMagic = 0x24534348;  ///< "HCS$"
  static constexpr std::uint32_t kVersion = 1;         ///< what the writer writes
  static constexpr std::uint32_t kHeaderSize = 16;

  /// Takes the header and as many bytes as it announces, and leaves the stream behind them;
  /// trailing data is not looked at. A size beyond the stream's end moves it to the end. What the
  /// stream raises, and std::bad_alloc, pass through: they say nothing about the file.
  bool Read(Zef::TStream& stream) override;
  /// The same from a whole file in memory, which is copied. Trailing bytes are ignored.
  bool ReadImage(std::span<const std::byte> file);

  /// A view of all records; the null chunk without an image or for an unknown version.
  ChunkRef GetRoot() override;

  /// Bytes of records held, 0 without an image.
  std::uint32_t DataSize() const;

 private:
  bool Accept(Zef::Ref<TagImage> image);

  Zef::Ref<TagImage> image_;
  Zef::Ref<TagOverlay> overlay_;
};
