// A pseudo-terminal of the diag service, and who has it open. Clients open the slave side through a symbolic link.
#pragma once

#include <string>

#include "platform/include/handles.h"

struct DiagPty {
    UniqueFd master;
    UniqueFd watch;  // readable when somebody has opened or closed the slave
    int watch_id = -1;
    std::string slave;
    std::string link;
    unsigned opens = 0;    // how many have it open
    bool emptied = false;  // the last of them has left, and diag_pty_clean has not run since
    unsigned changes = 0;  // openings and closings seen so far
};

// Opens a pseudo-terminal in raw mode and then links `link` to its slave; an earlier link is replaced.
// False: one line in `error`.
bool diag_pty_open(const std::string& link, DiagPty* pty, std::string* error);

// Closes it and removes the link if it is still this one's.
void diag_pty_close(DiagPty* pty);

// Takes note of who has come and gone since the last call. True: all had left in between and another has come, so that
// what was read or written before concerns nobody any more. The answers that were left unread are discarded then.
bool diag_pty_refresh(DiagPty* pty);

// Whether there is, or just was, a client: only then is the master worth polling.
bool diag_pty_in_use(const DiagPty& pty);

// Whether nobody has the slave open right now.
bool diag_pty_deserted(const DiagPty& pty);

// After the last client has left: discards its unread answers and gives up its settings and its exclusive mode.
// False: the line is lost; `error` says why.
bool diag_pty_clean(DiagPty* pty, std::string* error);
