// Programs behind device_system and device_popen, on a phone and on a host: each in a process group of its own, without
// any descriptor of the daemon beyond the standard three, with default signals, and with a deadline.
#pragma once

#include <spawn.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

// How a shell command is to be run.
struct ProgramPlan {
    std::string name;                      // what the log calls it when it is late
    std::string command;                   // for the shell's -c
    std::vector<std::string> shells;       // the first that can be executed runs it
    std::vector<std::string> environment;  // "NAME=value"; empty: the daemon's
    std::chrono::milliseconds deadline;    // then it is killed with its group, and failed
    // What only the platform can say: where it starts, and how descriptors from 3 on are closed. 0 or an error number.
    int (*prepare)(posix_spawn_file_actions_t* actions, short* flags);
};

// The word of a command that names its program: the first that sets no variable.
std::string program_name(const std::string& command);

// Results as system(3), popen(3) and pclose(3).
int program_system(const ProgramPlan& plan);
FILE* program_popen(const ProgramPlan& plan, const char* mode);
int program_pclose(FILE* stream);
