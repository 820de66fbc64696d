// Serving other programs: one JSON request a line in, one JSON record a line out, over one open connection to a phone.
#pragma once

#include <string>
#include <string_view>

#include "tools/vdiag/wire/session.h"

namespace vdiag {

// Carries out one request and returns its record, with the line's end. Whatever the line holds, a record comes back.
//   {"id": 7, "command": "ftm WriteWifimac", "arguments": {"mac": "02:00:00:00:00:01"}, "timeout": "2s"}
//   {"id": 7, "class": "done", "command": "WriteWifimac", "ok": true, "status": 0, ...}
// "arguments" are a list, or an object by the names of the catalogue's fields; {"hex": "00ff"} gives bytes as they are.
// "options" holds options of the command, such as {"map": "ext"}. {"id": 1, "ask": "catalogue"} tells all commands.
// "class" is one for each exit status of the client; where it is not "done", "text" says what went wrong.
std::string serve_request(Session* session, std::string_view line);

// The record of a line that is no request.
std::string serve_refusal(const std::string& text);

// Every command with its arguments, fields, statuses and help: a JSON object, without braces, as part of a record.
std::string catalogue_members();

// Serves until the end: of standard input, when `address` is empty, else until a signal, everybody who connects to this
// Unix socket. Returns an exit status.
int serve(Session* session, const std::string& address);

}  // namespace vdiag
