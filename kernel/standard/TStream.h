// TStream: a byte stream with a read-ahead of 4096 bytes and no write buffer.
//
// The form in which records and tables travel: fixed-width little-endian values and counted
// texts. A record reads dozens of tiny fields, so the primitives take them inline from the
// buffer. Reading past the end reports nothing and leaves the destination as it was; the sticky
// ShortRead() tells afterwards. Every write first gives the read-ahead back.
//
// Text form: a 32-bit length that counts the closing zero, then the bytes with the zero. Length
// 0 is "no storage", length 1 "storage without characters"; both survive. Texts of 65535
// characters and more are written as length 0; lengths of 65536 and more are skipped on reading.
//
// Not thread-safe.

#pragma once

#include <cstdint>
#include <cstring>

namespace Zef {

class PString;
class SharedText;

class TStream {
 public:
  static constexpr std::uint32_t kBufferSize = 4096;
  static constexpr std::uint32_t kLengthPlaceholder = 0xFEEDCEEB;
  static constexpr std::uint32_t kMaxTextLength = 65535;  ///< stored length, with the zero
  static constexpr std::uint32_t kMaxLineLength = 1u << 20;

  TStream() = default;
  virtual ~TStream() = default;
  TStream(const TStream&) = delete;
  TStream& operator=(const TStream&) = delete;

  virtual void Clear() = 0;
  virtual std::uint64_t Tell() = 0;
  virtual bool IsOpen() { return true; }
  virtual std::uint64_t Size() = 0;
  /// Write and Read are for streams to implement and pass the read-ahead by: callers use WriteRaw
  /// and ReadRaw.
  virtual std::uint32_t Write(const void* from, std::uint32_t size) = 0;
  virtual std::uint32_t Read(void* to, std::uint32_t size) = 0;
  /// Whence 0 from the start, 1 from the logical position, 2 back from the end.
  virtual void Seek(std::int64_t offset, std::int32_t whence) = 0;
  virtual bool Eof() = 0;

  /// Bytes in the read-ahead that were not taken yet.
  std::uint32_t Unread() const { return unread_; }
  /// The loops' end test: nothing buffered and the end reached.
  bool AtEnd() { return unread_ == 0 && Eof(); }
  /// True once any read got fewer bytes than it wanted.
  bool ShortRead() const { return shortRead_; }

  bool Read8(std::uint8_t& value) { return ReadFixed(value); }
  bool Read16(std::uint16_t& value) { return ReadFixed(value); }
  bool Read32(std::uint32_t& value) { return ReadFixed(value); }
  bool Read32(std::int32_t& value) { return ReadFixed(value); }
  bool ReadFloat(float& value) { return ReadFixed(value); }
  /// Two, three or four words at once; all of them or none.
  bool Read2x16(std::uint16_t* values) { return ReadWords<2>(values); }
  bool Read2x32(std::uint32_t* values) { return ReadWords<2>(values); }
  bool Read3x32(std::uint32_t* values) { return ReadWords<3>(values); }
  bool Read4x32(std::uint32_t* values) { return ReadWords<4>(values); }
  /// Two words, low one first.
  bool Read64(std::uint64_t& value) { return ReadFixed(value); }
  /// One byte; not zero is true. Leaves the value at the end of the stream.
  bool ReadBool(bool& value);
  /// Bytes received; fewer only at the end, and then the partial bytes are in `to`.
  std::uint32_t ReadRaw(void* to, std::uint32_t size);

  std::uint32_t WriteRaw(const void* from, std::uint32_t size);
  void Write8(std::uint8_t value);
  void Write16(std::uint16_t value);
  void Write32(std::uint32_t value);
  void Write64(std::uint64_t value);
  void WriteFloat(float value);
  void WriteBool(bool value);

  /// With `withLength` false only the characters go out, without length and closing zero.
  void WriteText(const SharedText& text, bool withLength = true);
  void WritePString(const PString& text, bool withLength = true);
  /// The text ends at its first zero byte, or where the stream ends.
  void ReadText(SharedText& text);
  void ReadPString(PString& text);
  /// Reads up to CR, LF or a pair of them; false only when the stream was at its end. Of a line
  /// longer than kMaxLineLength the rest is taken and lost.
  bool ReadLine(SharedText& line);
  /// Formats and writes without a terminator.
  void Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));

  /// Position of a placeholder word that PatchLength fills in later.
  std::uint64_t ReserveLength();
  void PatchLength(std::uint64_t position, std::uint32_t value);

  /// Moves forward without reading; never past the end.
  void SkipForward(std::uint64_t count);

 protected:
  /// Empties the read-ahead after the underlying position was set.
  void ForgetReadAhead();
  /// Moves the logical position by `delta` when the target is still in memory.
  [[nodiscard]] bool MoveWithinReadAhead(std::int64_t delta);

 private:
  static constexpr std::uint32_t kHistorySize = 16;

  template <class T>
  bool ReadFixed(T& value) {
    return ReadWords<1>(&value);
  }
  template <std::uint32_t N, class T>
  bool ReadWords(T* values) {
    if (unread_ < N * sizeof(T)) return ReadFixedSlow(values, N * sizeof(T));
    std::memcpy(values, buffer_ + position_, N * sizeof(T));
    position_ += N * sizeof(T);
    unread_ -= N * sizeof(T);
    return true;
  }
  bool ReadFixedSlow(void* to, std::uint32_t size);
  std::uint32_t Refill();
  void WriteTextForm(const char* text, std::uint32_t length, bool withLength);
  template <class Taker>
  bool ReadTextForm(const Taker& take);

  // buffer_[0, position_ + unread_) holds bytes of the stream that end at the underlying
  // position; those in front of position_ are history, which short steps back are served from.
  std::uint32_t unread_ = 0;
  std::uint32_t position_ = 0;
  bool shortRead_ = false;
  unsigned char buffer_[kBufferSize];
};

}  // namespace Zef
