#include "environment/MessagePipes.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

// A message that is being handled; lies on the stack of the thread that delivers it.
struct Delivery {
  const NuMessageRecipient* recipient;
  std::thread::id thread = std::this_thread::get_id();
  Delivery* next = nullptr;
};

// Guards the ends of all pipes and the lists of all recipients. Held for looking and linking only.
constinit std::mutex pipesLock;
// Never destroyed: objects that live to the very end close their pipes then.
std::condition_variable& DeliveryEnded() {
  static auto* const ended = new std::condition_variable;
  return *ended;
}
constinit Delivery* firstDelivery = nullptr;

class DeliveryScope {
 public:
  /// Under the lock of the pipes.
  explicit DeliveryScope(const NuMessageRecipient* recipient) : delivery_{recipient} {
    delivery_.next = firstDelivery;
    firstDelivery = &delivery_;
  }
  DeliveryScope(const DeliveryScope&) = delete;
  DeliveryScope& operator=(const DeliveryScope&) = delete;
  ~DeliveryScope() {
    {
      const std::lock_guard guard(pipesLock);
      Delivery** link = &firstDelivery;
      while (*link != &delivery_) link = &(*link)->next;
      *link = delivery_.next;
    }
    DeliveryEnded().notify_all();
  }

 private:
  Delivery delivery_;
};

// The thread's own deliveries are the callers of whoever waits.
bool IsBusyElsewhere(const NuMessageRecipient* recipient) {
  for (const Delivery* each = firstDelivery; each != nullptr; each = each->next) {
    if (each->recipient == recipient && each->thread != std::this_thread::get_id()) return true;
  }
  return false;
}

// Pooled before the first pipe is open, so that closing one needs no memory.
const Zef::PString& ClosedName() {
  static const auto* const name = new Zef::PString(NuMessagePipe::kClosed);
  return *name;
}

// A new object may come to lie where this one was, and must not wait for it.
void ForgetDeliveries(const NuMessageRecipient* recipient) {
  for (Delivery* each = firstDelivery; each != nullptr; each = each->next) {
    if (each->recipient == recipient) each->recipient = nullptr;
  }
}

void Remove(std::vector<std::shared_ptr<NuMessagePipe>>& pipes, const NuMessagePipe* pipe) {
  const auto found = std::find_if(pipes.begin(), pipes.end(),
                                  [&](const auto& each) { return each.get() == pipe; });
  if (found != pipes.end()) pipes.erase(found);
}

}  // namespace

void NuMessagePipe::Deliver(const NuMessage& message) {
  std::unique_lock lock(pipesLock);
  NuMessageRecipient* const recipient = recipient_;
  if (recipient == nullptr) return;
  const DeliveryScope scope(recipient);
  lock.unlock();
  recipient->HandleMessage(message);
}

void NuMessagePipe::Close() {
  const std::shared_ptr<NuMessagePipe> self = shared_from_this();  // the lists may hold the last
  std::unique_lock lock(pipesLock);
  if (sender_ == nullptr) return;
  const NuMessage message{ClosedName(), sender_};
  NuMessageRecipient* const recipient = recipient_;
  Remove(sender_->outgoing_, this);
  Remove(recipient->incoming_, this);
  sender_ = nullptr;
  recipient_ = nullptr;
  const DeliveryScope scope(recipient);
  lock.unlock();
  recipient->HandleMessage(message);
}

bool NuMessagePipe::IsOpen() const {
  const std::lock_guard guard(pipesLock);
  return sender_ != nullptr;
}

void NuMessageRecipient::HandleMessage(const NuMessage&) {}

NuMessageRecipient::~NuMessageRecipient() {
  ClosePipes();
  const std::lock_guard guard(pipesLock);
  ForgetDeliveries(this);
}

std::shared_ptr<NuMessagePipe> NuMessageRecipient::OpenPipe(NuMessageRecipient& recipient) {
  static_cast<void>(ClosedName());
  std::shared_ptr<NuMessagePipe> pipe(new NuMessagePipe(this, &recipient));
  const std::lock_guard guard(pipesLock);
  outgoing_.push_back(pipe);
  try {
    recipient.incoming_.push_back(pipe);
  } catch (...) {
    outgoing_.pop_back();
    throw;
  }
  return pipe;
}

void NuMessageRecipient::Broadcast(const NuMessage& message) {
  PipeList pipes;
  {
    const std::lock_guard guard(pipesLock);
    pipes = outgoing_;
  }
  for (const auto& pipe : pipes) pipe->Deliver(message);
}

void NuMessageRecipient::ClosePipes() {
  PipeList silent;
  PipeList told;
  {
    std::unique_lock lock(pipesLock);
    for (const auto& pipe : incoming_) {
      Remove(pipe->sender_->outgoing_, pipe.get());
      pipe->sender_ = nullptr;
      pipe->recipient_ = nullptr;
    }
    silent.swap(incoming_);
    DeliveryEnded().wait(lock, [&] { return !IsBusyElsewhere(this); });
    told.swap(outgoing_);
  }
  for (const auto& pipe : told) {
    try {
      pipe->Close();
    } catch (...) {  // NOLINT(bugprone-empty-catch): the next recipients must hear of it too
    }
  }
}
