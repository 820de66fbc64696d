// The hardware-version text: a version name, or a table that maps board identifiers to names in one of three forms.
// Pure functions on text.
#pragma once

#include <string_view>
#include <vector>

enum class HardwareVersionForm {
    kPlain,        // "V1.0": the name itself
    kByPosition,   // "EVT,DVT,PVT": the board identifier is the position, from 0
    kNumberName,   // "1-EVT,2-DVT"
    kProjectName,  // "1_2-EVT,1_3-DVT": project and hardware number are the identifier's second and first byte
};

// Punctuation decides: no comma and no hyphen, a comma alone, a hyphen, a hyphen and an underscore.
HardwareVersionForm hardware_version_form(std::string_view text);

// The number that a text begins with, as atoi reads it (blanks and a sign may lead), 0 for none; what an int cannot
// hold stays at its limit.
int leading_number(std::string_view text);

// The parts between commas: one more than there are commas.
std::vector<std::string_view> split_at_commas(std::string_view text);

// The name at a position; empty when there is none.
std::string_view version_at_position(std::string_view text, int board);

// A name and whether it stood in the first entry. An empty name is no answer.
struct NumberedVersion {
    std::string_view name;
    bool in_first;
};

// The name behind a board's number in the number-name form.
NumberedVersion version_by_number(std::string_view text, int board);

// One entry "P_H-NAME"; what is missing is empty.
struct ProjectVersion {
    std::string_view project;
    std::string_view hardware;
    std::string_view name;
};

ProjectVersion parse_project_version(std::string_view entry);

// True when the entry is whole and its numbers are those of the board.
bool project_version_matches(const ProjectVersion& entry, int board);
