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
    const char* text;  // a paragraph for the manual
};
std::span<const Task> tasks();

// The task whose name the words begin with; null when there is none.
const Task* find_task(const std::vector<std::string>& words);

// Carries out a command line that asks the phone something. False: `failure`, and no answer.
bool perform(Session* session, const Invocation& invocation, Answer* answer, Failure* failure);

// True when nothing is wrong with a command line that `perform` gets, as far as that can be known without a phone.
bool perform_check(const Invocation& invocation, Failure* failure);

// Every name that a first word, or the word behind "ftm", can be.
std::vector<std::string> verb_names();
std::vector<std::string> ftm_names();
// The second words that a first word can be followed by.
std::vector<std::string> second_words(std::string_view verb);

}  // namespace vdiag
