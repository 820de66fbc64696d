// libvdiag: factory diagnostics of phones from a program. Plain values in, plain values out; nothing is thrown but what
// the standard library throws when memory ends. A Phone is used by one thread at a time; several Phones are
// independent.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace libvdiag {

using Bytes = std::vector<uint8_t>;
using Names = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

// Numbers, texts and addresses ("02:00:00:00:00:01"), bytes as they are, and for the factory information store names
// and pairs of name and value. A number may also be given by the word that the catalogue has for it.
using Value = std::variant<int64_t, std::string, Bytes, Names, Pairs>;

struct Argument {
    Argument(Value by_position) : value(std::move(by_position)) {}  // NOLINT(google-explicit-constructor)
    Argument(const char* text) : value(std::string(text)) {}        // NOLINT(google-explicit-constructor)
    Argument(std::string argument_name, Value by_name) : name(std::move(argument_name)), value(std::move(by_name)) {}

    std::string name;  // as `vdiag help COMMAND` shows it; empty: the next one
    Value value;
};

// How a request ended; the values are the exit statuses of the program vdiag.
enum class Outcome : uint8_t {
    kDone = 0,
    kFailure = 1,  // something on this side
    kUsage = 2,    // a wrong address, command or argument; nothing was sent
    kConnect = 3,  // no connection to the phone
    kTimeout = 4,  // no answer in time
    kEnded = 5,    // the connection ended, or an answer has the wrong form
    kRefused = 6,  // the diag service refused the request with an error answer
    kStatus = 7,   // the command answered with a status that is no success
};

struct Field {
    std::string name;
    Value value;       // a number, a text or bytes; an address is bytes
    std::string word;  // of a number that the catalogue has a word for
};

struct Answer {
    Outcome outcome = Outcome::kDone;
    std::string text;     // what went wrong, one line for people; empty when nothing did
    int64_t status = -1;  // of the command; -1: it has none, or there is no answer
    std::string status_text;
    std::vector<Field> fields;
    Bytes request;  // the packets as they went, where one went
    Bytes response;

    bool good() const { return outcome == Outcome::kDone; }
    const Field* find(const std::string& name) const;  // null: no such field
    // The field's value; the default of its type when there is no such field, or it is of another type.
    int64_t number(const std::string& name) const;
    std::string string(const std::string& name) const;
    Bytes bytes(const std::string& name) const;
};

// One phone, connected at the first request, and again at the next one after the connection has ended.
class Phone {
   public:
    // unix:PATH, tcp:HOST:PORT or tty:PATH; empty: as the program vdiag without --connect.
    explicit Phone(std::string address = "", std::chrono::milliseconds timeout = std::chrono::seconds(10));
    ~Phone();
    Phone(Phone&& other) noexcept;
    Phone& operator=(Phone&& other) noexcept;
    Phone(const Phone&) = delete;
    Phone& operator=(const Phone&) = delete;

    // Connects now, unless it is connected: an answer without fields.
    Answer connect();
    // A command as it is typed, without its arguments: "ftm WriteWifimac", "info get".
    Answer request(const std::string& command, const std::vector<Argument>& arguments = {});
    // A packet as it is; the answer's packet is in `response`, whatever it is.
    Answer raw(const Bytes& packet);
    void close();

   private:
    struct State;
    std::unique_ptr<State> state_;
};

// Version and commit of the library.
const char* version();

}  // namespace libvdiag
