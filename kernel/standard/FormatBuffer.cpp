#include "kernel/standard/FormatBuffer.h"

#include <algorithm>
#include <new>

#include "kernel/BlockAllocator.h"
#include "kernel/platform/Format.h"

namespace Zef {

FormatBuffer::FormatBuffer(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  inline_[0] = 0;
  int needed = Platform::FormatText(inline_, sizeof(inline_), format, again);
  va_end(again);

  if (needed >= static_cast<int>(sizeof(inline_)) && needed <= kMostLength) {
    const std::size_t size = static_cast<std::size_t>(needed) + 1;
    if (void* block = BlockAllocator::Allocate(size)) {
      text_ = static_cast<char*>(block);
      va_copy(again, arguments);
      needed = Platform::FormatText(text_, size, format, again);
      va_end(again);
      // An argument that another thread has lengthened meanwhile is cut.
      needed = std::min(needed, static_cast<int>(size) - 1);
    } else {
      lacksMemory_ = true;
    }
  }
  const bool fits = needed >= 0 && (text_ != inline_ || needed < static_cast<int>(sizeof(inline_)));
  if (!fits) {
    text_[0] = 0;
    return;
  }
  length_ = static_cast<std::uint32_t>(needed);
  result_ = needed;
}

void FormatBuffer::RaiseIfNoMemory() const {
  if (lacksMemory_) throw std::bad_alloc();
}

FormatBuffer::~FormatBuffer() {
  if (text_ != inline_) BlockAllocator::Free(text_);
}

}  // namespace Zef
