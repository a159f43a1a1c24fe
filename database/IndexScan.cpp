#include "database/IndexScan.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "database/IndexCompanions.h"
#include "database/IndexHeader.h"
#include "database/LargeBlock.h"
#include "database/ObsoleteTable.h"
#include "kernel/ByteReader.h"

namespace {
constexpr std::size_t kBatch = 32;
}

/// A part of the file, moving forward.
class IndexScan::Window {
 public:
  /// `left` bytes are still to be read from the file, if it holds what it promises.
  Window(Zef::File& file, std::size_t left) : file_(file), left_(left) {}

  Zef::ByteReader Reader() const { return {buffer_.get() + start_, Held()}; }
  std::span<const std::byte> Bytes(std::size_t from, std::size_t to) const {
    return {buffer_.get() + start_ + from, to - from};
  }
  std::size_t Held() const { return end_ - start_; }
  std::size_t Remaining() const { return Held() + left_; }
  void Drop(std::size_t size) { start_ += size; }

  /// Brings in more bytes behind those at hand. False when there are none.
  bool More() { return Fetch(Grown()); }
  /// Brings in all that is left.
  void All() {
    const bool byPieces = MayPromiseMore(file_);
    while (left_ != 0) Fetch(byPieces ? std::min(Grown(), Remaining()) : Remaining());
  }

 private:
  static constexpr std::size_t kWindow = 1u << 20;

  std::size_t Grown() const { return std::max(kWindow, Held() * 2); }
  bool Fetch(std::size_t capacity) {
    if (left_ == 0) return false;
    const std::size_t held = Held();
    if (capacity > capacity_) {
      LargeBlock larger = MakeLargeBlock(capacity);
      if (held != 0) std::memcpy(larger.get(), buffer_.get() + start_, held);
      buffer_ = std::move(larger);
      capacity_ = capacity;
    } else {
      std::memmove(buffer_.get(), buffer_.get() + start_, held);
    }
    start_ = 0;
    end_ = held;
    const std::size_t wanted = std::min(left_, capacity_ - held);
    const std::size_t got = file_.Read(buffer_.get() + held, 1, wanted);
    end_ += got;
    left_ = got == wanted ? left_ - got : 0;
    return got != 0;
  }

  Zef::File& file_;
  std::size_t left_;
  LargeBlock buffer_;
  std::size_t capacity_ = 0;
  std::size_t start_ = 0;
  std::size_t end_ = 0;
};

IndexScan::IndexScan() = default;
IndexScan::~IndexScan() = default;

bool IndexScan::Open(const std::string& path) {
  if (file_.Open(path.c_str(), Zef::FileMode::kRead) != Zef::RES_OK) return false;
  IndexLoadReport report;
  if (ReadIndexHeader(file_, report) != IndexDamage::None) return false;
  window_ = std::make_unique<Window>(
      file_, static_cast<std::size_t>(report.storedLength) - kIndexHeaderSize);
  if (!window_->More()) return false;
  Zef::ByteReader in = window_->Reader();
  count_ = in.U32();
  if (in.Failed()) return false;
  window_->Drop(in.Position());
  return count_ <= window_->Remaining() / kSmallestRecord;
}

std::uint32_t IndexScan::CountToReserve() const {
  if (!MayPromiseMore(file_)) return count_;
  return std::min(count_, static_cast<std::uint32_t>(window_->Held() / kSmallestRecord));
}

bool IndexScan::Run(const Visitor& visit) {
  std::array<Seen, kBatch> batch;
  std::size_t seen = 0;
  const auto show = [&] {
    if (seen != 0) visit(std::span(batch).first(std::exchange(seen, 0)));
  };
  Zef::ByteReader in = window_->Reader();
  for (std::uint32_t i = 0; i < count_; ++i) {
    std::size_t start = in.Position();
    GlanceRecord(in, batch[seen].glance);
    while (in.Failed()) {
      show();  // before its bytes move
      window_->Drop(start);
      start = 0;
      if (!window_->More()) return false;
      in = window_->Reader();
      GlanceRecord(in, batch[seen].glance);
    }
    batch[seen++].stored = window_->Bytes(start, in.Position());
    if (seen == batch.size()) show();
  }
  show();
  window_->Drop(in.Position());
  window_->All();
  in = window_->Reader();
  IndexCompanions companions;
  return ObsoleteTable::Skip(in) && DependencyTable::Skip(in) && companions.users.Read(in) &&
         companions.configCache.Read(in, false) && companions.archives.Read(in);
}
