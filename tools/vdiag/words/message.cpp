// Messages on standard error.
#include "tools/vdiag/words/message.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tools/vdiag/words/text.h"

namespace vdiag {

void warn(const std::string& text) { (void)fprintf(stderr, "vdiag: %s\n", terminal_text(text).c_str()); }

bool colours(int fd) {
    const char* no_color = getenv("NO_COLOR");
    const char* term = getenv("TERM");
    return isatty(fd) != 0 && (no_color == nullptr || *no_color == '\0') &&
           (term == nullptr || std::string(term) != "dumb");
}

}  // namespace vdiag
