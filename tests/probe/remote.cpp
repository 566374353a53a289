// Commands for clients, and the lines that they print.
#include "tests/probe/probe.h"

#include "kernel/vn_ctrlc_lib.h"
#include "kernel/vn_lib.h"
#include "tests/probe/sockets.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace vn_probe {
namespace {

// Fills the field; a text that is longer fills it without an end.
template <size_t N>
void put(char (&field)[N], const std::string &text) {
    std::memcpy(field, text.c_str(), std::min(N, text.size() + 1));
}

// FIELD=VALUE
void set_field(RCMD *r, const std::string &word) {
    const size_t equal = std::min(word.find('='), word.size() - 1);
    const std::string name = word.substr(0, equal), value = word.substr(equal + 1);
    const std::pair<const char *, int *> numbers[] = {
        {"async", &r->iASyncFlg},       {"timeout", &r->iTimeout},   {"calm", &r->bAvoidErrProt},
        {"quiet", &r->bAvoidProt},      {"append", &r->bAppendMode}, {"verbose", &r->bVerbose},
        {"known", &r->bCommandNotFound}};
    for (const auto &[known, number] : numbers) {
        if (name == known) {
            *number = std::stoi(value);
        }
    }
    name == "in"        ? put(r->szInFile, value)
    : name == "out"     ? put(r->szOutFile, value)
    : name == "err"     ? put(r->szErrFile, value)
    : name == "port"    ? put(r->szPort, value)
    : name == "options" ? put(r->szPortOpt, value)
                        : (void)0;
}

void show_list(const char *mark, t_LL list) {
    if (list == nullptr) {
        return;
    }
    for (void *line = FirstElmLL(list); IsElmLL(line) != 0; line = NextElmLL(line)) {
        std::printf("%s %s\n", mark, static_cast<const char *>(line));
    }
    DestLL(list);
}

// CLIENT COMMAND [FIELD=VALUE | no1 | no2]...: without a list for one of the streams. Shows the
// result, and what the call has not left as it was.
void run_by(Words &words, int (*service)(RCMD *, str_log)) {
    const auto r = std::make_unique<RCMD>();
    put(r->szClient, words.text());
    put(r->szCmd, words.text());
    bool lists[] = {true, true};
    while (words.more()) {
        const std::string word = words.text();
        lists[0] = lists[0] && word != "no1";
        lists[1] = lists[1] && word != "no2";
        set_field(r.get(), word);
    }
    t_LL out = lists[0] ? ConsLL() : nullptr, err = lists[1] ? ConsLL() : nullptr;
    r->LL_Stdout = out;
    r->LL_Stderr = err;
    const std::string before = possessions();
    const int result = service(r.get(), log);
    const bool left = possessions() != before;
    std::printf("%d [%s] [%s]%s\n", result, r->szSts, r->szMsg, left ? " has left something" : "");
    show_list("1:", out);
    show_list("2:", err);
}

void run_rcmd(Words &words) {
    run_by(words, i_RCMD);
}

void run_ctrlc(Words &words) {
    run_by(words, ctrlc_lib_call);
}

// The receive loop, not the signal handler, takes all exit codes of this process.
void run_polled(Words &) {
    sigset_t urgent;
    sigemptyset(&urgent);
    sigaddset(&urgent, SIGURG);
    sigprocmask(SIG_BLOCK, &urgent, nullptr);
}

// CLIENT COMMAND
void run_exec(Words &words) {
    Buffer message = buffer(256);
    const char *client = words.text();
    const int result = i_RCMD_EXEC(client, words.text(), message.data(), log);
    std::printf("%d [%s]\n", result, message.data());
}

// CLIENT COMMAND PATTERN
void run_rcmd_search(Words &words) {
    const char *client = words.text(), *command = words.text();
    Buffer search = buffer(512, words.text()), message = buffer(256);
    const int result = i_RCMD_SEARCH(client, command, search.data(), message.data(), log);
    std::printf("%d [%s] [%s]\n", result, search.data(), message.data());
}

// PATTERN LINE...
void run_search(Words &words) {
    Buffer search = buffer(512, words.text());
    t_LL list = ConsLL();
    while (words.more()) {
        const std::string line = words.text();
        InsLastLLf(list, line.size() + 1, line.c_str());
    }
    const int result = i_LL_search(list, search.data(), log);
    DestLL(list);
    std::printf("%d [%s]\n", result, search.data());
}

// COMMAND: in the daemon's form, and the size that it takes.
void run_convert(Words &words) {
    const char *command = words.text();
    int size = 1;
    Buffer result = buffer(80);
    while (!vConvertCommand(command, result.data(), size, &log)) {
        size++;
    }
    std::printf("%d [%s]\n", size, result.data());
}

// DATA SIZE: the first line, the result in it, and what is left of the data.
void run_line(Words &words) {
    const auto r = std::make_unique<RCMD>();
    Buffer data = buffer(0, words.text()), line = buffer((size_t)words.number());
    int size = static_cast<int>(data.size()) - 1;
    const char *found =
        szGetLine(data.data(), &size, r.get(), 1, line.data(), (int)line.size(), log);
    std::printf("[%s] [%s] [%s] left [%.*s]\n", found == nullptr ? "none" : found, r->szSts,
                r->szMsg, size, data.data());
}

// LINE: the result in it.
void run_result(Words &words) {
    const auto r = std::make_unique<RCMD>();
    put(r->szSts, "-");
    put(r->szMsg, "-");
    vSetMsgAndSts(words.text(), r.get());
    std::printf("[%s] [%s]\n", r->szSts, r->szMsg);
}

const Function kFunctions[] = {{"rcmd", run_rcmd},
                               {"ctrlc", run_ctrlc},
                               {"polled", run_polled},
                               {"rcmd_exec", run_exec},
                               {"rcmd_search", run_rcmd_search},
                               {"search_lines", run_search},
                               {"convert", run_convert},
                               {"line", run_line},
                               {"result", run_result}};

} // namespace

const std::span<const Function> kRemote = kFunctions;

} // namespace vn_probe
