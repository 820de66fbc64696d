// The hardware-version text in every form, and the capacity text. Layout: board number (u16), text.
#include "ftm/hardware_version.h"
#include "ftm/storage_capacity.h"
#include "fuzz/fuzz_input.h"

namespace {

// A part of the text, not of something else.
void require_inside(std::string_view part, std::string_view text) {
    fuzz_require(part.empty() ||
                 (part.data() >= text.data() && part.data() + part.size() <= text.data() + text.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input{data, size};
    const int high = input.byte();
    const int board = high << 8 | input.byte();
    const std::string owner = input.rest();
    const std::string_view text = owner;
    (void)hardware_version_form(text);
    const std::string_view by_position = version_at_position(text, board);
    require_inside(by_position, text);
    fuzz_require(by_position.find(',') == std::string_view::npos);
    const NumberedVersion numbered = version_by_number(text, board);
    require_inside(numbered.name, text);
    fuzz_require(numbered.name.find(',') == std::string_view::npos);
    size_t total = 0;
    for (const std::string_view entry : split_at_commas(text)) {
        require_inside(entry, text);
        total += entry.size() + 1;
        const ProjectVersion version = parse_project_version(entry);
        require_inside(version.name, entry);
        fuzz_require(!project_version_matches(version, board) || !version.name.empty());
    }
    fuzz_require(total == text.size() + 1);
    const uint64_t capacity = storage_capacity_gib(text);
    fuzz_require(storage_nominal_gib(capacity) >= capacity);
    return 0;
}
