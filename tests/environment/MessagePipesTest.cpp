#include "environment/MessagePipes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>

#include "environment/ResultsLog.h"
#include "tests/support/Threads.h"

namespace {

struct Subject : Zef::ReferenceCountMP {};

class Listener : public NuMessageRecipient {
 public:
  using Action = std::function<void(const NuMessage&)>;

  explicit Listener(std::string* heard = nullptr, Action action = nullptr)
      : heard_(heard), action_(std::move(action)) {}
  ~Listener() override { ClosePipes(); }

  void HandleMessage(const NuMessage& message) override {
    if (heard_ != nullptr) heard_->append(message.name.View()).append(" ");
    const Action action = action_;  // which may destroy this object
    if (action) action(message);
  }

 private:
  std::string* heard_;
  Action action_;
};

TEST(MessagePipes, EitherEndMayGoFirst) {
  std::string heard;
  Listener recipient(&heard);
  {
    Listener sender;
    std::string quiet;
    {
      Listener dying(&quiet);
      sender.OpenPipe(dying);
      sender.OpenPipe(recipient);
      sender.Broadcast({"a", &sender});
    }
    EXPECT_EQ(quiet, "a ") << "a recipient that goes away hears nothing of it";
    sender.OpenPipe(recipient)->Close();
    sender.Broadcast({"b", &sender});
  }
  EXPECT_EQ(heard, "a pipe-closed b pipe-closed ");
}

TEST(MessagePipes, RecipientsChangeThePipesWhileTheyAreTold) {
  std::string heard;
  Listener sender;
  Listener last(&heard);
  auto* victim = new Listener(&heard);
  Listener* self = nullptr;
  self = new Listener(&heard, [&](const NuMessage&) { delete self; });
  self->OpenPipe(*self);
  std::vector<std::shared_ptr<NuMessagePipe>> pipes;
  Listener closer(&heard, [&](const NuMessage& message) {
    if (message.name == Zef::PString("pipe-closed")) throw std::runtime_error("stays inside");
    delete victim;
    pipes[2]->Close();
    sender.OpenPipe(last);
  });
  pipes = {sender.OpenPipe(closer), sender.OpenPipe(*victim), sender.OpenPipe(last),
           sender.OpenPipe(*self), sender.OpenPipe(last)};
  sender.Broadcast({"x", &sender});
  EXPECT_EQ(heard, "x pipe-closed x x ") << "closer, the last one's first pipe, self, last";
  heard.clear();
  sender.ClosePipes();
  EXPECT_EQ(heard, "pipe-closed pipe-closed pipe-closed ");
}

TEST(MessagePipes, RecipientsComeAndGoWhileOthersAreTold) {
  Listener sender;
  std::atomic<int> told = 0;
  ::Test::OnThreads(4, [&](int id) {
    for (int i = 0; i < 500; ++i) {
      if (id == 0) {
        sender.Broadcast({"x", &sender});
        continue;
      }
      const auto state = std::make_unique<int>(0);  // what a late message would find freed
      Listener recipient(nullptr, [&](const NuMessage&) { told += 1 + *state; });
      const auto pipe = sender.OpenPipe(recipient);
      if (i % 3 == 0) pipe->Close();
    }
  });
  EXPECT_GE(told, 3 * 167) << "each pipe that was closed told its recipient";
}

TEST(ResultsLog, ListenersSeeEveryChangeAsItHappens) {
  ResultsLog log;
  std::string seen;
  Listener listener(nullptr, [&](const NuMessage&) {
    seen += std::to_string(log.Entries().size()) + (log.IsEmpty() ? "- " : "+ ");
  });
  log.OpenPipe(listener);
  log.Clear();
  for (const int level : {1, 2, 3, 3, 4, 5, -1}) log.Add(level, nullptr, "%s", "100%n");
  EXPECT_EQ(log.Entries()[4].text, "100%n");
  EXPECT_EQ(log.Count(2) * 100 + log.Count(3) * 10 + log.Count(4), 121U);
  EXPECT_EQ(log.Count(1) + log.Count(5) + log.Count(-1), 0U);

  ResultsLog copy;
  copy.CopyFrom(log);
  log.Clear();
  EXPECT_TRUE(log.Count(3) == 0 && copy.Count(3) == 2 && copy.Entries().size() == 7);
  log.CopyFrom(copy);
  copy.CopyFrom(copy);
  EXPECT_EQ(seen, "1+ 2+ 3+ 4+ 5+ 6+ 7+ 0- ") << "a copy is told to nobody";
  copy.CopyFrom(ResultsLog());
  EXPECT_FALSE(copy.IsEmpty()) << "whatever was copied";
  EXPECT_TRUE(copy.Entries().empty() && copy.Count(3) == 0);
}

TEST(ResultsLog, CopiesInBothDirectionsCross) {
  ResultsLog logs[2];
  const Zef::Ref<Zef::ReferenceCountMP> reference(new Subject);
  ::Test::OnThreads(4, [&](int id) {
    for (int i = 0; i < 300; ++i) {
      logs[id % 2].Add(3, reference, "%d", i);
      logs[id % 2].CopyFrom(logs[1 - id % 2]);
      if (i % 50 == 0) logs[id % 2].Clear();
      const std::vector<ResultEntry> entries = logs[1 - id % 2].Entries();
      EXPECT_TRUE(entries.empty() || entries.back().reference == reference);
    }
  });
  logs[0].CopyFrom(logs[1]);
  EXPECT_EQ(logs[0].Count(3), logs[0].Entries().size());
  for (ResultsLog& log : logs) log.Clear();
  EXPECT_EQ(reference->References(), 1);
}

}  // namespace
