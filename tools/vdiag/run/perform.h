// Carrying out a command line: the catalogue's commands and the tasks that are made of several of them.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "tools/vdiag/run/invocation.h"
#include "tools/vdiag/wire/session.h"

namespace vdiag {

// A task of several requests. Its answer is a summary, or the answer that stopped it.
struct Task {
    const char* name;
    const char* usage;  // words and options behind the name
    const char* help;
    bool (*run)(Session*, const Invocation&, Answer*, Failure*);
    size_t words;                     // how many a command line has, the name's included
    std::string Invocation::*wanted;  // an option that must be given, or null
    const char* answer;               // fields of the summary, as in the catalogue
    const char* text;                 // a paragraph for the manual
};
std::span<const Task> tasks();

// The task whose name the words begin with; null when there is none.
const Task* find_task(const std::vector<std::string>& words);

// Carries out a command line that asks the phone something, within its own time limit and retries when it names them.
// False: `failure`, and no answer.
bool perform(Session* session, const Invocation& invocation, Answer* answer, Failure* failure);

// What a command line asks. Both null: bytes, or a name, that no row knows.
struct Asked {
    const Command* command = nullptr;
    const Task* task = nullptr;
    size_t words = 0;  // that the command's name takes
};

// Finds what the first words of a command line name. False: `failure`.
bool perform_find(const Invocation& invocation, Asked* asked, Failure* failure);

// True when nothing is wrong with a command line that `perform` gets, as far as that can be known without a phone;
// `asked` then has the row of a request that was given as bytes too.
bool perform_check(const Invocation& invocation, Asked* asked, Failure* failure);

// Every name that a first word, or the word behind "ftm", can be.
std::vector<std::string> verb_names();
std::vector<std::string> ftm_names();
// The second words that a first word can be followed by.
std::vector<std::string> second_words(std::string_view verb);

}  // namespace vdiag
