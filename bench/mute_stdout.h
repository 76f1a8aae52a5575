// Sends standard output to /dev/null for the lifetime of the object, so that
// the progress lines some routines always print cost their formatting and
// write calls but no terminal while they are timed.
#ifndef QEVO_BENCH_MUTE_STDOUT_H
#define QEVO_BENCH_MUTE_STDOUT_H

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

class MuteStdout {
  public:
    MuteStdout() {
        std::fflush(stdout);
        saved_ = dup(1);
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0) {
            dup2(null, 1);
            close(null);
        }
    }
    ~MuteStdout() {
        std::fflush(stdout);
        if (saved_ >= 0) {
            dup2(saved_, 1);
            close(saved_);
        }
    }
    MuteStdout(const MuteStdout &) = delete;
    MuteStdout &operator=(const MuteStdout &) = delete;

  private:
    int saved_ = -1;
};

#endif  // QEVO_BENCH_MUTE_STDOUT_H
