// ChildProcess: code that runs in a process of its own, to be killed. The parent should have no
// threads at the time; the child leaves without running any destructor.

#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace Test {

class ChildProcess {
 public:
  /// Runs `body`, whose result is the exit status, for at most 100 seconds.
  template <typename Body>
  explicit ChildProcess(Body body) : process_(fork()) {
    if (process_ < 0) throw std::runtime_error("no child process");  // -1 would mean everybody
    if (process_ != 0) return;
    alarm(100);
    _exit(body());
  }
  ~ChildProcess() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Kills and waits for the end, which leaves a zombie.
  void Kill() const {
    kill(process_, SIGKILL);
    AwaitEnd();
  }
  /// Waits for the end, which leaves a zombie. The exit status, or -1 for one that was killed.
  int AwaitEnd() const {
    siginfo_t ended{};
    waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOWAIT);
    return ended.si_code == CLD_EXITED ? ended.si_status : -1;
  }

 private:
  const pid_t process_;
};

}  // namespace Test
