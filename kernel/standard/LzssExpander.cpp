#include "kernel/standard/LzssExpander.h"

#include <algorithm>
#include <cstring>

namespace Zef {

namespace {

constexpr std::size_t kSlack = 1024;  // of the buffer, beyond two windows

}  // namespace

bool LzssExpander::Start(std::uint8_t header) {
  LzssDecoder decoder;
  if (!decoder.Start(header)) return false;
  decoder_.emplace(decoder);
  buffer_.resize(2 * std::size_t{decoder.Window().Window()} + kSlack);
  written_ = buffer_.data();
  out_ = {buffer_.data(), buffer_.data(), buffer_.data() + buffer_.size(), /*last=*/false};
  return true;
}

bool LzssExpander::Append(const std::uint8_t* data, std::size_t length) {
  if (length == 0) return true;
  const std::uint8_t* const end = data + length;
  if (!decoder_ && !Start(*data++)) return false;
  payload_ += static_cast<std::size_t>(end - data);
  if (heldBytes_ > 0 && !TakeHeld(data, end)) return false;
  if (heldBytes_ > 0) return true;  // the input went there whole
  LzssDecoder::Input in{data, end, /*last=*/false};
  if (!Decode(in)) return false;
  if (decoder_->Ended()) {
    behindEnd_ += in.Remaining();
    return true;
  }
  heldBytes_ = in.Remaining();
  if (heldBytes_ > 0) std::memcpy(held_.data(), in.next, heldBytes_);
  return true;
}

// Decodes what is held back, with as much new input behind it as it may need; moves `data` past
// what was used of it. Either nothing is held back then, or the input is used up.
bool LzssExpander::TakeHeld(const std::uint8_t*& data, const std::uint8_t* end) {
  const std::size_t before = heldBytes_;
  const std::size_t taken =
      std::min<std::size_t>(static_cast<std::size_t>(end - data), LzssDecoder::kReserve + 1);
  std::memcpy(held_.data() + before, data, taken);
  LzssDecoder::Input in{held_.data(), held_.data() + before + taken, /*last=*/false};
  if (!Decode(in)) return false;
  const auto used = static_cast<std::size_t>(in.next - held_.data());
  heldBytes_ = 0;
  if (used >= before) {
    data += used - before;
  } else if (decoder_->Ended()) {
    behindEnd_ += before - used;
  } else {
    heldBytes_ = in.Remaining();
    std::memmove(held_.data(), in.next, heldBytes_);
    data = end;
  }
  return true;
}

bool LzssExpander::Decode(LzssDecoder::Input& in) {
  for (;;) {
    decoder_->Decode(in, out_);
    if (out_.Room() >= LzssDecoder::kFastRoom) return true;
    if (!HandOver(decoder_->Window().Window())) return false;
  }
}

// Gives the sink what it has not seen and keeps the last `kept` bytes for matches to reach.
bool LzssExpander::HandOver(std::size_t kept) {
  const auto size = static_cast<std::uint32_t>(out_.next - written_);
  if (size > 0 && !sink_->Write(written_, size)) return false;
  std::memmove(buffer_.data(), out_.next - kept, kept);
  written_ = out_.next = buffer_.data() + kept;
  return true;
}

bool LzssExpander::Finish() {
  if (!decoder_) return true;
  LzssDecoder::Input in{held_.data(), held_.data() + heldBytes_, /*last=*/true};
  if (!Decode(in)) return false;
  behindEnd_ += in.Remaining();
  return HandOver(0);
}

LzssFinding LzssExpander::Finding() const {
  return decoder_ ? decoder_->Finding(payload_, behindEnd_) : LzssFinding::NoStream;
}

}  // namespace Zef
