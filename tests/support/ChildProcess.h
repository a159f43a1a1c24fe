// ChildProcess: code that runs in a process of its own, to be killed. The parent should have no
// threads at the time; the child leaves without running any destructor.

#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace Test {

class ChildProcess {
 public:
  /// Runs `body`, whose result is the exit status, for at most 100 seconds.
  template <typename Body>
  explicit ChildProcess(Body body) : process_(fork()) {
    if (process_ < 0) std::abort();
    if (process_ != 0) return;
    alarm(100);
    _exit(body());
  }
  ~ChildProcess() {
    if (process_ == 0) return;
    Kill();
    waitpid(process_, nullptr, 0);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Ends the process and leaves it a zombie.
  void Kill() {
    if (process_ == 0) return;
    kill(process_, SIGKILL);
    AwaitEnd();
  }
  /// Waits for the end, which leaves a zombie.
  void AwaitEnd() const {
    siginfo_t ended{};
    waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOWAIT);
  }
  /// Waits for the end. The exit status, or -1 for one that was killed.
  int Wait() {
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_;
};

/// Exit status of `body` run in a process of its own; -1 when it was killed.
template <typename Body>
int RunInChild(Body body) {
  return ChildProcess(body).Wait();
}

}  // namespace Test
