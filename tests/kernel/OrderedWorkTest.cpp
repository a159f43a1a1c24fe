#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "kernel/OrderedWork.h"

namespace Zef {
namespace {

TEST(OrderedWork, HandsJobsBackInTheirOrder) {
  for (const std::size_t threads : {0, 1, 4}) {
    std::atomic<int> running = 0;
    OrderedWork<int> work(threads, [&](int& job, std::size_t worker) {
      EXPECT_LE(worker, threads);
      ++running;
      if (job % 100 == 7) throw std::runtime_error(std::to_string(job));
      for (volatile int spin = job % 13 * 1000; spin > 0;) spin = spin - 1;
      job *= 2;
    });
    int taken = 0;
    const auto take = [&] {
      if (taken % 100 == 7) {
        EXPECT_THROW(work.Take(), std::runtime_error) << taken;
      } else {
        EXPECT_EQ(work.Take(), 2 * taken);
      }
      ++taken;
    };
    for (int i = 0; i < 2000; ++i) {
      work.Post(i);
      while (work.Count() > 20) take();
    }
    while (work.HasJobs()) take();
    EXPECT_EQ(taken, 2000);
    EXPECT_EQ(running, 2000);
    for (int i = 0; i < 50; ++i) work.Post(1);  // dropped, or waited for
  }
}

}  // namespace
}  // namespace Zef
