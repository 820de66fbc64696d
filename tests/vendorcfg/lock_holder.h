// A child process that holds the advisory lock of a file, for as long as the holder lives.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

class LockHolder {
   public:
    explicit LockHolder(const std::string& host_file) : file_(open(host_file.c_str(), O_RDWR | O_CLOEXEC)) {
        child_ = fork();
        struct flock whole = {};
        whole.l_type = F_WRLCK;
        if (child_ == 0) {
            (void)fcntl(file_, F_SETLK, &whole);
            (void)raise(SIGSTOP);
            _exit(0);
        }
        (void)waitpid(child_, nullptr, WUNTRACED);
        held_ = fcntl(file_, F_GETLK, &whole) == 0 && whole.l_pid == child_;
    }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;
    ~LockHolder() {
        (void)kill(child_, SIGKILL);
        (void)waitpid(child_, nullptr, 0);
        (void)close(file_);
    }

    bool held() const { return held_; }

   private:
    int file_;
    pid_t child_;
    bool held_;
};
