// Completion scripts for shells, written from the catalogue.
#include "tools/vdiag/face/help.h"
#include "tools/vdiag/face/usage.h"
#include "tools/vdiag/run/invocation.h"
#include "tools/vdiag/run/perform.h"

namespace vdiag {
namespace {

std::string join(const std::vector<std::string>& words) {
    std::string out;
    for (const std::string& word : words) {
        out += (out.empty() ? "" : " ") + word;
    }
    return out;
}

// "-o,--output" as "-o --output"; only options that take a value, when that is asked for.
std::string option_names(bool with_value) {
    std::string out;
    for (const OptionRow& option : option_rows()) {
        if (!with_value || option.value != nullptr) {
            for (const std::string_view name : split(option.names, ',')) {
                out += (out.empty() ? "" : " ") + std::string(name);
            }
        }
    }
    return out;
}

std::string bash_script() {
    std::string cases;
    for (const std::string& verb : verb_names()) {
        const std::vector<std::string> seconds = second_words(verb);
        if (!seconds.empty()) {
            cases += "        " + verb + ") list=\"" + join(seconds) + "\" ;;\n";
        }
    }
    return "# bash completion for vdiag\n"
           "_vdiag() {\n"
           "    local list= verb= word= i\n"
           "    local valued=\" " +
           option_names(true) +
           " \"\n"
           "    local -a words=() typed=()\n"
           "    # Words are told apart by blanks alone: bash would cut an address at its colons.\n"
           "    read -ra typed <<<\"${COMP_LINE:0:COMP_POINT}\"\n"
           "    if [[ ${COMP_LINE:0:COMP_POINT} != *[[:blank:]] ]]; then\n"
           "        word=${typed[-1]}\n"
           "        unset 'typed[-1]'\n"
           "    fi\n"
           "    for ((i = 1; i < ${#typed[@]}; i++)); do\n"
           "        if [[ ${typed[i]} == -* ]]; then\n"
           "            [[ $valued == *\" ${typed[i]} \"* ]] && ((i++))\n"
           "        else\n"
           "            words+=(\"${typed[i]}\")\n"
           "        fi\n"
           "    done\n"
           "    if ((i > ${#typed[@]})); then return; fi  # an option's value: files\n"
           "    verb=${words[0]-}\n"
           "    if [[ $word == -* ]]; then\n"
           "        list=\"" +
           option_names(false) +
           "\"\n"
           "    elif ((${#words[@]} == 0)); then\n"
           "        list=\"" +
           join(verb_names()) +
           "\"\n"
           "    elif ((${#words[@]} == 1)); then\n"
           "        case $verb in\n"
           "        ftm | help) list=\"" +
           join(ftm_names()) +
           "\" ;;\n"
           "        completion) list=\"bash zsh fish\" ;;\n" +
           cases +
           "        esac\n"
           "    fi\n"
           "    COMPREPLY=()\n"
           "    for i in $list; do\n"
           "        [[ ${i,,} == \"${word,,}\"* ]] && COMPREPLY+=(\"$i\")\n"
           "    done\n"
           "}\n"
           "complete -o default -F _vdiag vdiag\n";
}

// A text between single quotes.
std::string quoted(std::string_view text) {
    std::string out = "'";
    for (const char c : text) {
        out += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return out + "'";
}

std::string zsh_script() {
    std::string options;
    for (const OptionRow& option : option_rows()) {
        std::string help = option.help;
        for (char& c : help) {
            c = c == '[' || c == ']' || c == ':' ? ' ' : c;
        }
        for (const std::string_view name : split(option.names, ',')) {
            const std::string spec = std::string(name) + "[" + help + "]" +
                                     (option.value != nullptr ? ":" + std::string(option.value) + ":_files" : "");
            options += "        " + quoted(spec) + " \\\n";
        }
    }
    std::string cases;
    for (const std::string& verb : verb_names()) {
        const std::vector<std::string> seconds = second_words(verb);
        cases += seconds.empty() ? "" : "        " + verb + ") compadd -- " + join(seconds) + " ;;\n";
    }
    return "#compdef vdiag\n"
           "_vdiag() {\n"
           "    local -a line\n"
           "    local context state state_descr\n"
           "    typeset -A opt_args\n"
           "    _arguments -C \\\n" +
           options +
           "        '1:command:->command' '*::argument:->argument'\n"
           "    case $state in\n"
           "    command) compadd -- " +
           join(verb_names()) +
           " ;;\n"
           "    argument)\n"
           "        if ((CURRENT != 2)); then _files; return; fi\n"
           "        case $line[1] in\n"
           "        ftm | help) compadd -M 'm:{a-zA-Z}={A-Za-z}' -- " +
           join(ftm_names()) +
           " ;;\n"
           "        completion) compadd -- bash zsh fish ;;\n" +
           cases +
           "        *) _files ;;\n"
           "        esac ;;\n"
           "    esac\n"
           "}\n"
           "if [ \"$funcstack[1]\" = _vdiag ]; then _vdiag \"$@\"; else compdef _vdiag vdiag; fi\n";
}

std::string fish_line(const std::string& condition, const std::string& word, const std::string& help) {
    return "complete -c vdiag -f -n " + quoted(condition) + " -a " + word + " -d " + quoted(help) + "\n";
}

std::string fish_script() {
    std::string out =
        "# fish completion for vdiag\n"
        "# The words that are no options, nor values of options.\n"
        "function __vdiag_words\n"
        "    set -l skip 1\n"
        "    for word in (commandline -opc)\n"
        "        if test $skip = 1\n"
        "            set skip 0\n"
        "        else if contains -- $word " +
        option_names(true) +
        "\n"
        "            set skip 1\n"
        "        else if not string match -q -- '-*' $word\n"
        "            echo $word\n"
        "        end\n"
        "    end\n"
        "end\n"
        "function __vdiag_first\n"
        "    test (count (__vdiag_words)) = 0\n"
        "end\n"
        "function __vdiag_after\n"
        "    set -l words (__vdiag_words)\n"
        "    test (count $words) = 1; and contains -- $words[1] $argv\n"
        "end\n";
    for (const OptionRow& option : option_rows()) {
        out += "complete -c vdiag";
        for (const std::string_view name : split(option.names, ',')) {
            out += name.starts_with("--") ? " -l " + std::string(name.substr(2)) : " -s " + std::string(name.substr(1));
        }
        out += std::string(option.value != nullptr ? " -r" : "") + " -d " + quoted(option.help) + "\n";
    }
    for (const std::string& verb : verb_names()) {
        out += "complete -c vdiag -f -n __vdiag_first -a " + verb + "\n";
        for (const std::string& second : second_words(verb)) {
            out += fish_line("__vdiag_after " + verb, second, "");
        }
    }
    for (const Command& command : catalogue()) {
        out += is_ftm(command) ? fish_line("__vdiag_after ftm help", command.name, command.help) : "";
    }
    return out + "complete -c vdiag -f -n '__vdiag_after completion' -a 'bash zsh fish'\n";
}

}  // namespace

std::string completion_script(std::string_view shell) {
    if (shell == "bash") {
        return bash_script();
    }
    if (shell == "zsh") {
        return zsh_script();
    }
    return shell == "fish" ? fish_script() : "";
}

}  // namespace vdiag
