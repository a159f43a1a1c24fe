// Threads: the same work on several threads at once, for tests under the thread sanitizer.

#pragma once

#include <thread>
#include <vector>

namespace Test {

/// Calls `work(0)` to `work(count - 1)`, each on its own thread, and waits for all of them.
template <typename Work>
void OnThreads(int count, Work work) {
  std::vector<std::jthread> threads;
  for (int id = 0; id < count; ++id) threads.emplace_back(work, id);
}

}  // namespace Test
