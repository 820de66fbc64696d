// Pseudo-terminals. While nobody has the slave open, the master reports a hang-up without end, so the coming of a
// client is watched for on the slave's node; the hang-up tells of the leaving of the last one. The service never keeps
// the slave open itself, which would hide the hang-up.
#include "platform/host/diag_pty.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/host/diag_listen.h"

namespace {

// Raw, both sides' settings being reached through the master. `discard` also drops what the slave has not read.
bool set_raw(int master, bool discard) {
    termios settings{};
    if (tcgetattr(master, &settings) != 0) {
        return false;
    }
    cfmakeraw(&settings);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    return tcsetattr(master, discard ? TCSAFLUSH : TCSANOW, &settings) == 0;
}

void discard_answers(const DiagPty& pty) {
    (void)tcflush(pty.master.get(), TCOFLUSH);  // fails only when there is no line any more, which reading shows
    (void)set_raw(pty.master.get(), true);
}

bool watch_slave(DiagPty* pty) {
    pty->watch_id = inotify_add_watch(pty->watch.get(), pty->slave.c_str(), IN_OPEN | IN_CLOSE);
    return pty->watch_id >= 0;
}

// Puts the link in place in one step. A file that is no link is left alone.
bool place_link(const DiagPty& pty) {
    struct stat status {};
    if (lstat(pty.link.c_str(), &status) == 0 && !S_ISLNK(status.st_mode)) {
        errno = EEXIST;
        return false;
    }
    const std::string fresh = pty.link + ".new";
    (void)unlink(fresh.c_str());
    if (symlink(pty.slave.c_str(), fresh.c_str()) != 0) {
        return false;
    }
    if (rename(fresh.c_str(), pty.link.c_str()) != 0) {
        (void)unlink(fresh.c_str());
        return false;
    }
    return true;
}

// Counts one event. Kept small: two equal events in a row may arrive as one, which the hang-up corrects later.
void count_event(DiagPty* pty, uint32_t mask, bool* replaced) {
    if ((mask & IN_OPEN) != 0) {
        *replaced = *replaced || pty->emptied;
        pty->emptied = false;
        ++pty->opens;
        ++pty->changes;
    } else if ((mask & IN_CLOSE) != 0) {
        pty->opens -= pty->opens > 0 ? 1 : 0;
        pty->emptied = pty->opens == 0;
        ++pty->changes;
    }
}

void count_events(DiagPty* pty, bool* replaced) {
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t size = read(pty->watch.get(), buffer.data(), buffer.size());
        if (size <= 0) {
            return;
        }
        for (size_t at = 0; at + sizeof(inotify_event) <= static_cast<size_t>(size);) {
            inotify_event event{};
            memcpy(&event, buffer.data() + at, sizeof(event));
            count_event(pty, event.mask, replaced);
            at += sizeof(event) + event.len;
        }
    }
}

}  // namespace

bool diag_pty_open(const std::string& link, DiagPty* pty, std::string* error) {
    DiagPty fresh;
    fresh.link = link;
    fresh.master = UniqueFd(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    fresh.watch = UniqueFd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    std::array<char, 64> slave{};
    if (!fresh.master.ok() || !fresh.watch.ok() || grantpt(fresh.master.get()) != 0 ||
        unlockpt(fresh.master.get()) != 0 || ptsname_r(fresh.master.get(), slave.data(), slave.size()) != 0) {
        *error = diag_errno_text("cannot open a pseudo-terminal");
        return false;
    }
    fresh.slave = slave.data();
    if (!set_raw(fresh.master.get(), false) || !watch_slave(&fresh)) {
        *error = diag_errno_text("cannot set up " + fresh.slave);
        return false;
    }
    if (!place_link(fresh)) {
        *error = diag_errno_text("cannot link it to " + fresh.slave);
        return false;
    }
    *pty = std::move(fresh);
    return true;
}

void diag_pty_close(DiagPty* pty) {
    std::array<char, 64> target{};
    const ssize_t size = readlink(pty->link.c_str(), target.data(), target.size());
    if (size >= 0 && pty->slave == std::string(target.data(), static_cast<size_t>(size))) {
        (void)unlink(pty->link.c_str());
    }
    *pty = DiagPty{};
}

bool diag_pty_refresh(DiagPty* pty) {
    const bool was_emptied = pty->emptied;
    bool replaced = false;
    count_events(pty, &replaced);
    // A closing is told a moment before the hang-up. When there is still none at the next call, two openings arrived as
    // one event, and somebody is there.
    if (was_emptied && pty->emptied && !diag_pty_deserted(*pty)) {
        pty->emptied = false;
        pty->opens = 1;
    }
    if (replaced) {
        discard_answers(*pty);
    }
    return replaced;
}

bool diag_pty_in_use(const DiagPty& pty) { return pty.opens > 0 || pty.emptied; }

bool diag_pty_deserted(const DiagPty& pty) {
    pollfd master = {pty.master.get(), 0, 0};
    return poll(&master, 1, 0) == 1 && (master.revents & POLLHUP) != 0;
}

bool diag_pty_clean(DiagPty* pty, std::string* error) {
    discard_answers(*pty);
    // Our own opening is no client's: it is not watched.
    (void)inotify_rm_watch(pty->watch.get(), pty->watch_id);
    bool replaced = false;
    count_events(pty, &replaced);
    UniqueFd slave(open(pty->slave.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!slave.ok() && errno == EBUSY && diag_pty_deserted(*pty)) {
        // The client that has left made the line exclusive, and only root may undo that: a new line takes its place.
        return diag_pty_open(std::string(pty->link), pty, error);
    }
    if (slave.ok()) {
        (void)ioctl(slave.get(), TIOCNXCL);
    }
    (void)slave.close();
    if (!watch_slave(pty)) {
        *error = diag_errno_text("cannot watch " + pty->slave);
        return false;
    }
    pty->emptied = false;
    pty->opens = 0;
    ++pty->changes;  // and those that nobody has seen meanwhile
    if (!diag_pty_deserted(*pty)) {
        // Somebody has come meanwhile, seen by the new watch or before it.
        count_events(pty, &replaced);
        pty->opens = std::max(pty->opens, 1U);
    }
    return true;
}
