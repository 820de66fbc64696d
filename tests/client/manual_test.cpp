// The index of commands that is checked in, and the completions.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/client/peer.h"
#include "tools/vdiag/face/help.h"
#include "tools/vdiag/face/prompt.h"
#include "tools/vdiag/run/perform.h"

namespace vdiag {
namespace {

std::string source(const std::string& path) {
    std::ostringstream out;
    out << std::ifstream(VENDORDIAG_SOURCE_DIR "/" + path).rdbuf();
    return out.str();
}

TEST(ManualTest, TheIndexThatIsCheckedInIsWhatTheCatalogueWrites) {
    EXPECT_TRUE(source("docs/commands.md") == manual_index()) << "build the target manuals";
}

TEST(ManualTest, CompletionScriptsAreSoundAndNameEveryCommand) {
    for (const char* shell : {"bash", "zsh", "fish"}) {
        const std::string script = completion_script(shell);
        for (const std::string& name : ftm_names()) {
            EXPECT_NE(script.find(name), std::string::npos) << shell << " " << name;
        }
    }
    EXPECT_EQ(completion_script("tcsh"), "");
    const ScratchFile script(
        completion_script("bash") +
        "try() { COMP_LINE=$1; COMP_POINT=${#1}; COMPREPLY=(); _vdiag; [ \"${COMPREPLY[*]}\" = \"$2\" ] || exit 1; }\n"
        "try 'vdiag -c unix:/x ftm readw' ReadWifimac; try 'vdiag keybox ' 'open close write send'\n"
        "try 'vdiag -qc tcp:h:1' ''; try 'vdiag -c ' ''; try 'vdiag -c tcp:h:1 batt' battery\n");
    EXPECT_EQ(system(("bash " + script.path()).c_str()), 0);
}

TEST(ManualTest, EveryCommandHasHelp) {
    for (const Command& command : catalogue()) {
        std::vector<std::string> words;
        std::string text;
        for (const std::string_view word : split(command.name, ' ')) {
            words.emplace_back(word);
        }
        EXPECT_TRUE(help_for(words, &text)) << command.name;
        EXPECT_NE(text.find(command.help), std::string::npos) << text;
    }
    for (const char* verb : {"csr", "unlock", "keys", "run", "raw", "ftm", "keybox"}) {
        std::string text;
        EXPECT_TRUE(help_for({verb}, &text)) << verb;
    }
}

TEST(PromptTest, TheNextWordIsOffered) {
    using Words = std::vector<std::string>;
    EXPECT_EQ(completions({"csr"}), Words{"fetch"});
    EXPECT_EQ(completions({"ftm", "readfuse"}), (Words{"secboot", "simlock", "permission"}));
    EXPECT_EQ(completions({"audio"}), (Words{"handset", "off"}));
    EXPECT_EQ(completions({"ftm"}), ftm_names());
    EXPECT_EQ(completions({"nonsense"}), Words{});
}

}  // namespace
}  // namespace vdiag
