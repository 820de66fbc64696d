// The command line, taken apart. Lines of plans and of the prompt are command lines too.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vdiag {

struct Invocation {
    std::vector<std::string> words;  // everything that is no option

    std::string connect;
    std::string timeout;
    std::string retry;
    std::string pcap;
    std::string speed;
    bool yes = false;
    bool json = false;
    bool hex = false;
    bool quiet = false;
    bool help = false;
    bool version = false;

    std::string file;
    std::string map;
    std::string output;
    std::string key;
    std::string lasting;
    std::string device;
    std::string listen;
    std::string junit;
    std::string record;
    std::string csv;
    std::string only;
    bool generate = false;
    bool stop = false;
    bool fresh = false;
};

// Where a command line comes from. What is said once for the whole program has no place on a line of a plan or of the
// prompt: it would be taken for something that holds there.
enum class LineOf : uint8_t { kPlan, kPrompt, kProgram };

// One option: the parser, the help, the completions and the manual take it from here.
struct OptionRow {
    const char* names;  // "-o,--output"
    const char* value;  // what stands behind it; null for a switch
    const char* verbs;  // the first words it belongs to, between blanks; null: all
    LineOf lines;       // the first of LineOf that may have it
    const char* help;
    std::string Invocation::*text;
    bool Invocation::*flag;
};
std::span<const OptionRow> option_rows();

// Parses arguments (without the program's name). Options may stand anywhere, as "--name VALUE", "--name=VALUE", "-n
// VALUE" or "-nVALUE", until "--"; every other word is taken as it is. False: `error` says what is wrong.
bool invocation_parse(const std::vector<std::string>& arguments, LineOf line, Invocation* invocation,
                      std::string* error);

}  // namespace vdiag
