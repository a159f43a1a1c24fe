// MessagePipes: objects that tell other objects what happened to them.
//
// A pipe leads from a sender to a recipient. Both know their pipes; when either goes away, or
// somebody closes a pipe, a recipient that is still there gets the message "pipe-closed". Messages
// are delivered at once, in the sender's thread. A recipient may open and close any pipes, its own
// and those of the sender, and destroy itself while it handles a message, or others to which no
// other thread delivers then.
//
// Pipes may be opened, closed and used by any threads; no lock is held while a message is handled.
// An object that receives from other threads calls ClosePipes in its own destructor, before it
// loses what HandleMessage needs; that waits for messages under way in other threads, so it must
// not hold a lock which HandleMessage takes.
//
// Cost: a broadcast takes one short lock of the process for each pipe, and once for the list.

#pragma once

#include <memory>
#include <vector>

#include "kernel/standard/PString.h"

class NuMessageRecipient;

struct NuMessage {
  Zef::PString name;
  /// Who sent it, for telling senders apart; with "pipe-closed" it may be going away.
  const NuMessageRecipient* sender = nullptr;
};

/// One link. Kept alive by its ends and by whoever keeps the pointer.
class NuMessagePipe : public std::enable_shared_from_this<NuMessagePipe> {
 public:
  static constexpr const char* kClosed = "pipe-closed";

  NuMessagePipe(const NuMessagePipe&) = delete;
  NuMessagePipe& operator=(const NuMessagePipe&) = delete;
  ~NuMessagePipe() = default;

  /// Takes the pipe from both ends and tells the recipient, whose exceptions come out here. A
  /// second call does nothing.
  void Close();
  bool IsOpen() const;

 private:
  friend class NuMessageRecipient;
  NuMessagePipe(NuMessageRecipient* sender, NuMessageRecipient* recipient)
      : sender_(sender), recipient_(recipient) {}
  void Deliver(const NuMessage& message);

  NuMessageRecipient* sender_;     // null once closed
  NuMessageRecipient* recipient_;  // null once closed
};

class NuMessageRecipient {
 public:
  NuMessageRecipient() = default;
  NuMessageRecipient(const NuMessageRecipient&) = delete;
  NuMessageRecipient& operator=(const NuMessageRecipient&) = delete;

  // The order of the virtual operations is fixed; the empty ones keep their places.
  virtual void FirstSlot() {}
  virtual void HandleMessage(const NuMessage& message);
  virtual ~NuMessageRecipient();
  virtual void LastSlot() {}

  /// Opens a pipe from this object to `recipient`. Every call opens a further one.
  std::shared_ptr<NuMessagePipe> OpenPipe(NuMessageRecipient& recipient);
  /// Hands the message to the recipient of each pipe that leads away from here, in the order in
  /// which they were opened. Pipes opened meanwhile are left out, pipes closed meanwhile too.
  void Broadcast(const NuMessage& message);
  /// Closes all pipes to and from this object, which gets no "pipe-closed" for those that lead to
  /// it, and waits until other threads have left its HandleMessage. Exceptions of recipients stop
  /// here.
  void ClosePipes();

 private:
  friend class NuMessagePipe;
  using PipeList = std::vector<std::shared_ptr<NuMessagePipe>>;

  PipeList outgoing_;
  PipeList incoming_;
};
