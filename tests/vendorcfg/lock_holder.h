// A child process that holds the advisory lock of a file, for as long as the holder lives.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

class LockHolder {
   public:
    explicit LockHolder(const std::string& host_file) {
        int ready[2] = {-1, -1};
        if (pipe(ready) != 0) {
            return;
        }
        child_ = fork();
        if (child_ == 0) {
            struct flock whole = {};
            whole.l_type = F_WRLCK;
            const int fd = open(host_file.c_str(), O_RDWR | O_CLOEXEC);
            const bool held = fd >= 0 && fcntl(fd, F_SETLK, &whole) == 0;
            if (write(ready[1], held ? "y" : "n", 1) == 1) {
                pause();
            }
            _exit(0);
        }
        char answer = 'n';
        held_ = read(ready[0], &answer, 1) == 1 && answer == 'y';
        (void)close(ready[0]);
        (void)close(ready[1]);
    }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;
    ~LockHolder() {
        if (child_ > 0) {
            (void)kill(child_, SIGKILL);
            (void)waitpid(child_, nullptr, 0);
        }
    }

    bool held() const { return held_; }

   private:
    pid_t child_ = -1;
    bool held_ = false;
};
