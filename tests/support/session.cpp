// Reads, plays and writes sessions, see session.h.
#include "tests/support/session.h"

#include "tests/support/expected.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

namespace vn_test {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

struct Step {
    Lines before;  // comments and blank lines
    Lines command; // as in the file, with the marks
};

bool is_output(const std::string &line) {
    return line.starts_with("  ") || line.starts_with("! ") || line.starts_with("? ");
}

// The steps; what is behind the last command is a step without one.
std::vector<Step> steps_of(const Lines &lines) {
    std::vector<Step> steps(1);
    for (const std::string &line : lines) {
        if (line.starts_with("$ ") && !steps.back().command.empty()) {
            steps.emplace_back();
        }
        if (line.starts_with("$ ") || (line.starts_with("> ") && !steps.back().command.empty())) {
            steps.back().command.push_back(line);
        } else if (!is_output(line)) {
            if (!steps.back().command.empty()) {
                steps.emplace_back();
            }
            steps.back().before.push_back(line);
        }
    }
    return steps;
}

// One shell for all steps, so that variables and functions stay; the streams of each go to files of
// its own.
std::string script_of(const std::vector<Step> &steps, bool together = false) {
    std::string script = ". " VN_SESSIONS_DIR "/../support/session.sh\n";
    for (size_t i = 0; i < steps.size() && !steps[i].command.empty(); i++) {
        const std::string file = "\"$SESSION/" + std::to_string(i) + ".";
        script += "{\n";
        for (const std::string &line : steps[i].command) {
            script += line.substr(2) + "\n";
        }
        script += "} </dev/null >" + file + "out\" 2>" + (together ? "&1" : file + "err\"") +
                  "\necho $? >" + file + "rc\"\n";
    }
    return script;
}

// Bytes that a reader would not see as "\x1b"; a line that has no end is marked.
Lines printable(const std::string &text, const std::string &mark) {
    Lines lines;
    for (const std::string &line : lines_of(text)) {
        std::string shown = mark;
        for (const char letter : line) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", (unsigned char)letter);
            const bool plain = std::iscntrl((unsigned char)letter) == 0 || letter == '\t';
            shown += plain ? std::string(1, letter) : code;
        }
        lines.push_back(shown);
    }
    if (!text.empty() && text.back() != '\n') {
        lines.back() += "[no line feed]";
    }
    return lines;
}

// The file's text with what the commands have printed now.
std::string played(const Installation &in, const std::vector<Step> &steps) {
    const std::string directory = in.path(".session/");
    std::string text;
    for (size_t i = 0; i < steps.size(); i++) {
        Lines lines = steps[i].before;
        lines.insert(lines.end(), steps[i].command.begin(), steps[i].command.end());
        const auto part = [&](const char *kind) {
            return read_file(directory + std::to_string(i) + "." + kind).value_or("");
        };
        for (const auto &[kind, mark] : {std::pair("out", "  "), {"err", "! "}}) {
            const Lines shown = printable(without_races(in.comparable(part(kind))), mark);
            lines.insert(lines.end(), shown.begin(), shown.end());
        }
        if (!steps[i].command.empty() && part("rc") != "0\n") {
            lines.push_back("? " + (part("rc").empty() ? "not reached" : lines_of(part("rc"))[0]));
        }
        for (const std::string &line : lines) {
            text += line + "\n";
        }
    }
    return text;
}

// The shell that plays a script in the installation.
void play(const Installation &in, const std::string &script) {
    fs::create_directory(in.path(".session"));
    std::vector<std::string> environment = in.environment();
    for (const std::string &entry :
         {"SESSION=" + in.path(".session"), std::string("VN_CLIENT=" VN_CLIENT_PROGRAM),
          std::string("VN_PROBE=" VN_PROBE_PROGRAM),
          std::string("VN_SOURCE=" VN_SESSIONS_DIR "/../..")}) {
        environment.push_back(entry);
    }
    CallOptions options;
    options.directory = in.dir;
    options.limit = std::chrono::seconds(50);
    // A file: the commands are not to be seen among the processes.
    write_file(in.path(".session/script"), script);
    const CallResult shell =
        run_program({"/bin/sh", in.path(".session/script")}, environment, options);
    EXPECT_EQ(shell, (CallResult{0, "", ""})) << "the shell that plays the session";
}

// The commands of a document's blocks for the installation, and below each, in "before", the output
// that the document shows.
std::vector<Step> console_steps(const Installation &in, const std::string &path) {
    constexpr std::string_view documented = "/opt/vorna";
    std::string all = read_file(path).value_or("");
    for (size_t at = 0; (at = all.find(documented, at)) != all.npos;) {
        all.replace(at, documented.size(), in.dir);
    }
    std::vector<Step> steps;
    std::string block; // the line that has begun it
    size_t indent = 0; // of the block
    for (std::string line : lines_of(all)) {
        const std::string text = line.substr(std::min(line.find_first_not_of(' '), line.size()));
        if (block.empty() || text == "```" || text == "-->") {
            block = text == "```console" || text == "<!--$" ? text : "";
            indent = line.size() - text.size();
            continue;
        }
        line.erase(0, indent);
        if (block == "<!--$") {
            steps.push_back({{}, {"$ { " + line, "> } >/dev/null 2>&1"}});
        } else if (line.starts_with("$ ")) {
            steps.push_back({{}, {line}});
        } else if (line.starts_with("> ") && !steps.empty() && steps.back().before.empty()) {
            steps.back().command.push_back(line);
        } else if (!steps.empty()) {
            steps.back().before.push_back(line);
        }
    }
    return steps;
}

} // namespace

std::vector<std::string> session_names() {
    std::vector<std::string> names;
    for (const auto &file : fs::directory_iterator(VN_SESSIONS_DIR)) {
        names.push_back(file.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void play_session(const std::string &name) {
    const std::string file = VN_SESSIONS_DIR "/" + name + ".txt";
    const std::vector<Step> steps = steps_of(lines_of(read_file(file).value_or("")));
    Installation in;
    play(in, script_of(steps));
    const std::string text = played(in, steps);
    const char *words = std::getenv("VN_WORDS");
    if (words == nullptr) {
        expect_file(name + ".txt", text);
        return;
    }
    write_file(in.path("shown"), text);
    const auto without_words = [words](const std::string &path) {
        return run_program({"/bin/sed", "-f", words, path}, {}, {}).out;
    };
    const std::string shown = without_words(in.path("shown"));
    write_file(in.path("expected"), without_words(file));
    EXPECT_TRUE(shown == read_file(in.path("expected"))) << difference(in.path("expected"), shown);
}

void play_document(const std::string &path) {
    Installation in;
    const std::vector<Step> steps = console_steps(in, path);
    ASSERT_FALSE(steps.empty()) << path << " has no commands";
    play(in, script_of(steps, true));
    std::string shown, printed;
    for (size_t i = 0; i < steps.size(); i++) {
        for (const std::string &line : steps[i].command) {
            shown += line + "\n";
            printed += line + "\n";
        }
        for (const std::string &line : steps[i].before) {
            shown += line + "\n";
        }
        printed += read_file(in.path(".session/" + std::to_string(i) + ".out")).value_or("");
    }
    shown = in.comparable(shown);
    printed = in.comparable(printed);
    write_file(in.path("shown"), shown);
    EXPECT_TRUE(shown == printed) << path << "\n" << difference(in.path("shown"), printed);
}

} // namespace vn_test
