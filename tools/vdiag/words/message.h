// What the client tells people: messages on standard error, and its exit statuses.
#pragma once

#include <string>

namespace vdiag {

// Exit statuses, one for each class of failure.
enum ExitStatus : int {
    kExitDone = 0,
    kExitFailure = 1,      // something on this side: a file, the library for a task
    kExitUsage = 2,        // the command line, a plan or an argument is wrong; nothing was sent
    kExitConnect = 3,      // no connection to the phone
    kExitTimeout = 4,      // no answer in time
    kExitEnded = 5,        // the connection ended, or an answer has the wrong form
    kExitErrorAnswer = 6,  // the diag library refused the request
    kExitStatus = 7,       // the command answered with a status that is no success
    kExitExpectation = 8,  // a plan's expectation failed
    kExitSignal = 128,     // and the number of the signal that ended a run
};

// One line "vdiag: TEXT" on standard error.
void warn(const std::string& text);

bool colours(int fd);  // the stream is a terminal and NO_COLOR is not set

}  // namespace vdiag
