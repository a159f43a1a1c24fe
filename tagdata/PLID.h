// PLID: the identity of an asset: who made it, which of his it is, and its version.
//
// A plain value of three words. The null identifier (-1, -1, 127) stands for no asset and is
// what default construction gives. Stored as 8 bytes (content, then version and user packed into
// one word), shown as "<plid:user:content>" or "<plid2:user:content:version>".

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "kernel/KeyedHash.h"
#include "kernel/standard/PString.h"

namespace Zef {
class TStream;
}

struct PLID {
  static constexpr std::int32_t kNullVersion = 127;
  static constexpr std::int32_t kUnassignedUser = -2;
  static constexpr std::size_t kStoredSize = 8;

  std::int32_t user = -1;     ///< 25 bits are stored, sign at bit 24; -2 is the local user
  std::int32_t content = -1;  ///< number within the user
  std::int32_t version = kNullVersion;  ///< 0 to 127

  constexpr PLID() = default;
  /// Null when `userId` does not fit its range; the version is taken as it is.
  constexpr PLID(std::int32_t userId, std::int32_t contentId, std::int32_t versionNumber)
      : user(userId), content(contentId), version(versionNumber) {
    if (!IsValidUser(userId)) *this = PLID();
  }
  /// Parses any historic spelling; strict mode takes only the bracketed forms. A text that is
  /// none (and a null pointer) gives the null identifier.
  PLID(const char* text, bool strict);
  PLID(std::string_view text, bool strict);

  static constexpr PLID Unpack(std::uint32_t packed, std::uint32_t contentWord) {
    PLID id;
    const std::uint32_t userBits = packed & 0x1FFFFFFu;
    id.user = static_cast<std::int32_t>((packed & 0x1000000u) ? userBits | 0xFE000000u : userBits);
    id.content = static_cast<std::int32_t>(contentWord);
    id.version = static_cast<std::int32_t>(packed >> 25);
    return id;
  }
  constexpr std::uint32_t PackedWord() const {
    return (static_cast<std::uint32_t>(version) << 25) |
           (static_cast<std::uint32_t>(user) & 0x1FFFFFFu);
  }
  constexpr void Pack(std::uint32_t* packed, std::uint32_t* contentWord) const {
    *packed = PackedWord();
    *contentWord = static_cast<std::uint32_t>(content);
  }

  /// The words as they are stored. FromStored reads kStoredSize bytes.
  constexpr std::array<std::uint32_t, 2> Stored() const {
    return {static_cast<std::uint32_t>(content), PackedWord()};
  }
  static PLID FromStored(const void* bytes) {
    std::uint32_t words[2];
    std::memcpy(words, bytes, sizeof words);
    return Unpack(words[1], words[0]);
  }

  /// True when the top seven bits of `value` are all alike.
  static constexpr bool IsValidUser(std::int32_t value) {
    return value >= -33554432 && value <= 33554431;
  }
  static constexpr bool IsValidVersion(std::int32_t value) { return value >= 0 && value <= 127; }

  constexpr bool IsNull() const { return user == -1 && content == -1 && version == kNullVersion; }
  /// True for a real identifier that 8 stored bytes give back as it is. Some valid users do not
  /// fit the stored form, and tables of stored identifiers refuse them.
  constexpr bool IsStorable() const;
  constexpr bool IsUnassigned() const { return user == kUnassignedUser; }
  /// The local user's: -2, or the base user id once there is one.
  bool IsLocal() const;
  constexpr bool SameWithoutVersion(const PLID& o) const {
    return user == o.user && content == o.content;
  }
  constexpr std::uint32_t Hash() const {
    return (static_cast<std::uint32_t>(content) << 5) ^ static_cast<std::uint32_t>(version) ^
           static_cast<std::uint32_t>(user);
  }
  friend constexpr bool operator==(const PLID& a, const PLID& b) {
    return a.user == b.user && a.content == b.content && a.version == b.version;
  }

  /// Text forms. The plain-string ones do not touch the string pool.
  std::string TagText() const;  ///< as ToTag
  Zef::PString ToTag() const;
  Zef::PString ToHtml() const;
  std::string ToWords() const;
  std::string ToDelimited(char delimiter) const;

  /// 8 bytes: content, packed word.
  void Write(Zef::TStream& stream) const;
  /// Reads 8 bytes. At the exact end of the stream, or past it, the result is null whatever was
  /// read; lists of identifiers end with a null one or have data behind them.
  void Read(Zef::TStream& stream);
};

constexpr bool PLID::IsStorable() const {
  return !IsNull() && Unpack(PackedWord(), static_cast<std::uint32_t>(content)) == *this;
}

/// The base user id behind PLID::IsLocal: -2 until the settings file gives another. Atomic.
std::int32_t BaseUserId();
void SetBaseUserId(std::int32_t user);

template <>
struct std::hash<PLID> {
  /// Keyed, for open tables: the documented Hash is too regular for them, and identifiers come
  /// from outside.
  std::size_t operator()(const PLID& id) const noexcept {
    const std::uint64_t both =
        (static_cast<std::uint64_t>(static_cast<std::uint32_t>(id.content)) << 32) |
        static_cast<std::uint32_t>(id.user);
    return Zef::KeyedHash(both, static_cast<std::uint32_t>(id.version));
  }
};
