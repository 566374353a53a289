// Many agents at once on one installation: concurrent [REQUESTS], by 1, 2, 8, 64 and 256 at a time,
// beside as many `sh -c cat`. Every answer must be right, and so must what the agents leave.
#include "bench/measure.h"

#include <atomic>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <regex>
#include <set>
#include <spawn.h>
#include <sstream>
#include <string_view>
#include <sys/file.h>
#include <thread>

extern char **environ;

namespace {

constexpr int kMost = 256;           // agents at once
constexpr std::size_t kLength = 250; // of the longest value: a message holds it
constexpr char kTraced[] = "Rux";    // the letters of the functions that are traced

std::string read_file(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

// A value that tells its number in each part, and its end. Those of other numbers are longer or
// shorter.
std::string value_of(int number) {
    std::string value;
    while (value.size() < kLength) {
        value += std::to_string(number) + '.';
    }
    value.resize(kLength - 1 - static_cast<std::size_t>(number) * 37 % 200);
    return value + '!';
}

bool is_value(const std::string &text) {
    return text == value_of(static_cast<int>(std::strtol(text.c_str(), nullptr, 10)));
}

// A call and what must come of it.
struct Request {
    std::vector<std::string> arguments;
    int status;          // the exit status
    std::string message; // of the record; "*": one of the values
    std::string out;     // standard output
};

// What all agents of a round share.
struct Round {
    Round(const measure::Workplace &workplace, int number, int count)
        : place(workplace), agents(number), requests(count),
          shared(place.path("rw/ini/shared.ini")), list(place.path("rw/list")),
          listing(place.path("listing")) {}

    const measure::Workplace &place;
    const int agents, requests;
    const std::string shared, list, listing;
    std::atomic<int> next{0}, wrong{0}, reads{0}, empty{0};
    std::atomic<bool> ended{false};
    std::atomic<int> changes[kMost] = {}; // of the key in the INI file that each agent has
    std::mutex lock;                      // of the counts
    std::map<std::string, int> counts;

    void count(const std::string &kind) {
        const std::lock_guard guard(lock);
        ++counts[kind];
    }
    void complain(const std::string &text) {
        if (++wrong <= 10) {
            std::fprintf(stderr, "WRONG: %s\n", text.c_str());
        }
    }
};

// Starts a program with its output in these files; returns its exit status.
int run(const std::vector<std::string> &command, const std::string &out, const std::string &err) {
    std::vector<char *> arguments;
    for (const std::string &argument : command) {
        arguments.push_back(const_cast<char *>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    constexpr int kNew = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, out.c_str(), kNew, 0600);
    posix_spawn_file_actions_addopen(&files, 2, err.c_str(), kNew, 0600);
    pid_t pid = 0;
    int status = -1;
    if (posix_spawn(&pid, arguments[0], &files, nullptr, arguments.data(), environ) != 0 ||
        waitpid(pid, &status, 0) != pid) {
        throw std::runtime_error(command[0] + " cannot be started");
    }
    posix_spawn_file_actions_destroy(&files);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// One of those that work at once: one request after the other.
class Agent {
public:
    Agent(Round *round, int number)
        : round_(*round), number_(number), name_("own_" + std::to_string(number)),
          files_(round_.place.path("results/" + std::to_string(number))) {}

    void work() {
        for (int i = round_.next++; i < round_.requests; i = round_.next++) {
            id_ = std::to_string(round_.agents) + '_' + std::to_string(i);
            answer(written_ ? read_back() : request_of(i));
        }
        if (written_) {
            id_ += "_end";
            answer(read_back());
        }
    }

private:
    void answer(const Request &request) {
        std::vector<std::string> command = {VN_CLIENT_PROGRAM, "-i", id_, "-f"};
        command.insert(command.end(), request.arguments.begin(), request.arguments.end());
        check(request, run(command, files_ + ".out", files_ + ".err"));
        const bool use = request.arguments[0] == "u";
        round_.count(use ? "u " + request.arguments[2] : request.arguments[0]);
    }
    Request read_back() {
        written_ = false;
        return {{"R", "-n", name_}, 0, value_of(number_), ""};
    }
    Request ini_request(bool change) {
        const std::string key = 'k' + std::to_string(number_);
        std::atomic<int> &changes = round_.changes[number_];
        if (!change) {
            const std::string value = value_of(1000 * changes + number_);
            return {{"u", "-m", "i", "-n", round_.shared, "-s", "[All]", "-t", key}, 0, value, ""};
        }
        const std::string value = value_of(1000 * ++changes + number_);
        return {
            {"u", "-m", "C", "-n", round_.shared, "-s", "All", "-t", key, "-d", value}, 0, "", ""};
    }
    Request write_request(const std::string &name) {
        written_ = name == name_;
        return {{"W", "-n", name, "-s", value_of(number_)}, 0, value_of(number_), ""};
    }
    Request request_of(int i) {
        switch ("GaCwitdGCxGawCTGdEwitGCdWGeCkwidG"[i % 33]) {
        case 'G':
            return {{"G", "-n", "load"}, 0, value_of(4711), ""};
        case 'a':
            return {{"G", "-n", "all"}, 0, "*", ""};
        case 'W':
            return write_request("all");
        case 'w':
            return write_request(name_);
        case 'e':
            return {{"e", "-n", round_.shared}, 0, round_.shared + " exists", ""};
        case 'E':
            return {{"e", "-n", "/nosuch"}, 1, "/nosuch doesn't exist", ""};
        case 'd':
            return {{"d", round_.list}, 0, "", read_file(round_.listing)};
        case 'i':
            return ini_request(false);
        case 'C':
            return ini_request(true);
        case 't':
            return {{"t", "-d", "disk1", "-t", "DISK_HARD"}, 0, "No tape in drive", ""};
        case 'T':
            return {{"t", "-d", "disk1", "-t", round_.list}, 0, "Drive tape online", ""};
        default:
            return rare_request(i);
        }
    }
    // What takes long: the catalogue and a listing of all processes; a command that is killed.
    Request rare_request(int i) const {
        switch (i / 33 % 4) {
        case 0:
            return {{"k", "-s", "vnconcurrent"}, 2, "There are no vbc processes", ""};
        case 1:
            return {{"x", "-u", "root", "-s", "vn_perf 2 IDLE; kill -9 $$"},
                    2,
                    "Program returned exit state 137",
                    ""};
        default:
            return {{"G", "-n", "load"}, 0, value_of(4711), ""};
        }
    }
    void check(const Request &request, int status) const {
        const std::string err = read_file(files_ + ".err");
        const std::string call = id_ + ' ' + request.arguments[0] + ' ' +
                                 request.arguments[2 % request.arguments.size()];
        if (status != request.status) {
            round_.complain(call + " ended with " + std::to_string(status) + ": " + err);
        } else if (read_file(files_ + ".out") != request.out) {
            round_.complain(call + " printed " + read_file(files_ + ".out"));
        } else if (request.arguments[0] != "d") {
            check_record(request, call, err);
        }
    }
    void check_record(const Request &request, const std::string &call,
                      const std::string &err) const {
        constexpr const char *kWords[] = {"SUCCESS", "WARNING", "ERROR"};
        const std::string begin = "ID=" + id_ + "\nSTATUS=" + kWords[request.status] + " MSG=";
        const std::size_t at = err.find(begin);
        const std::size_t from = at + begin.size();
        const std::size_t end = at == std::string::npos ? at : err.find('\n', from);
        const std::string message = end == std::string::npos ? "" : err.substr(from, end - from);
        const bool bEmpty = request.message == "*" && message == "?? GLBV all not existing";
        const bool bRight =
            request.message == "*" ? bEmpty || is_value(message) : message == request.message;
        round_.empty += bEmpty ? 1 : 0;
        if (end == std::string::npos || (at > 0 && err[at - 1] != '\n') || !bRight) {
            round_.complain(call + " answered " + err);
        }
        check_variable("gv_client_sts_", std::to_string(request.status), call);
        check_variable("gv_client_msg_", message, call);
    }
    void check_variable(const char *kind, const std::string &value, const std::string &call) const {
        const std::string file = round_.place.path("rw/glbv/") + kind + id_ + ".sgv";
        if (!std::filesystem::exists(file) || read_file(file) != value) {
            round_.complain(call + " left " + kind + " as [" + read_file(file) + ']');
        }
        std::filesystem::remove(file);
    }

    Round &round_;
    const int number_;
    const std::string name_;  // of its own variable
    const std::string files_; // where the output goes
    std::string id_;
    bool written_ = false; // its own variable is there
};

// The file that all change, with the changes so far.
std::string ini_text(const Round &round) {
    std::string text = "\n[All]\n";
    for (int i = 0; i < kMost; ++i) {
        const std::string value = value_of(1000 * round.changes[i] + i);
        text += 'k' + std::to_string(i) + '=' + value + '\n';
    }
    return text + '\n';
}

bool is_whole_ini(const std::string &text) {
    std::istringstream lines(text);
    std::string line;
    int keys = -1; // the section's line
    while (std::getline(lines, line)) {
        const std::size_t equal = line.find('=');
        if (!line.empty() && line != "[All]" &&
            (equal == std::string::npos || line.substr(0, equal) != 'k' + std::to_string(keys) ||
             !is_value(line.substr(equal + 1)))) {
            return false;
        }
        keys += line.empty() ? 0 : 1;
    }
    return keys == kMost;
}

// Reads the INI file as the agents do, under its lock, until the round ends.
void watch_ini(Round *round) {
    while (!round->ended) {
        const int fd = open(round->shared.c_str(), O_RDONLY | O_CLOEXEC);
        flock(fd, LOCK_SH);
        const std::string text = read_file(round->shared);
        close(fd);
        ++round->reads;
        if (!is_whole_ini(text)) {
            round->complain("INI file is not whole: " + text);
        }
        usleep(1000);
    }
}

template <typename Work>
double time_crowd(int agents, Work work) {
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::thread> crowd;
    for (int i = 0; i < agents; ++i) {
        crowd.emplace_back(work, i);
    }
    for (std::thread &one : crowd) {
        one.join();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// The reference: as many `sh -c cat` at once.
double time_reference(const measure::Workplace &place, int agents, int requests) {
    std::atomic<int> next{0};
    const std::string file = place.path("rw/glbv/load.sgv");
    return time_crowd(agents, [&](int number) {
        const std::string out = place.path("results/cat" + std::to_string(number));
        while (next++ < requests) {
            run({"/bin/sh", "-c", "cat " + file}, out, "/dev/null");
        }
    });
}

std::set<std::string> files_of(const measure::Workplace &place) {
    std::set<std::string> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(place.path("rw"))) {
        files.insert(entry.path());
    }
    return files;
}

// Every line is one that the pattern describes, and so many hold the text.
void check_lines(Round *round, const std::string &file, const char *pattern, const char *text,
                 int wanted) {
    const std::regex whole(pattern, std::regex::optimize);
    const std::string content = read_file(round->place.path(file));
    std::istringstream lines(content);
    int found = 0;
    for (std::string line; std::getline(lines, line);) {
        found += line.find(text) != std::string::npos ? 1 : 0;
        if (!std::regex_match(line, whole)) {
            round->complain(file + " has the line " + line);
        }
    }
    if (found != wanted || (!content.empty() && content.back() != '\n')) {
        round->complain(file + " has " + std::to_string(found) + " of " + std::to_string(wanted));
    }
}

// What the agents of the round have left.
void check_rest(Round *round, const std::set<std::string> &before) {
    for (const std::string &file : files_of(round->place)) {
        const bool lock = file.ends_with(".sem");
        if (before.find(file) == before.end() || (lock && std::filesystem::file_size(file) > 0)) {
            round->complain("left behind: " + file + ' ' + read_file(file));
        }
    }
    if (read_file(round->shared) != ini_text(*round)) {
        round->complain("changes of the INI file are lost: " + read_file(round->shared));
    }
    int traced = 0;
    for (const auto &[kind, count] : round->counts) {
        traced += std::strchr(kTraced, kind[0]) != nullptr ? count : 0;
    }
    const int killed = 2 * round->counts["x"];
    check_lines(round, "rw/lgc/vn_client_.lgc",
                " ?[0-9]+:[0-9]{2}:[0-9]{2}# .*| vn_client .* User= .*", "+++ FINISH Sts=", traced);
    for (const char *protocol : {"rw/prot/vorna.prot", "rw/prot/vorna.prot.err"}) {
        check_lines(round, protocol,
                    "[0-9-]{10} [0-9:]{8} E008-BASICS \\[ *[0-9]+\\]: .*: /bin/sh terminated .*",
                    "E008-BASICS", killed);
    }
}

void empty_logs(const measure::Workplace &place) {
    for (const char *file :
         {"rw/lgc/vn_client_.lgc", "rw/prot/vorna.prot", "rw/prot/vorna.prot.err"}) {
        write_file(place.path(file), "");
    }
}

// One round; false when something was wrong.
bool measure_round(const measure::Workplace &place, int agents, int requests) {
    Round round(place, agents, requests);
    write_file(round.shared, ini_text(round));
    empty_logs(place);
    const std::set<std::string> before = files_of(place);
    std::thread watch(watch_ini, &round);
    const double ours = time_crowd(agents, [&](int number) { Agent(&round, number).work(); });
    round.ended = true;
    watch.join();
    check_rest(&round, before);
    const double theirs = time_reference(place, agents, requests);
    std::printf("%9d %9.0f %9.0f %7.2f %11d %7d %7d\n", agents, requests / ours, requests / theirs,
                theirs / ours, round.reads.load(), round.empty.load(), round.wrong.load());
    std::fflush(stdout);
    return round.wrong == 0;
}

void prepare(const measure::Workplace &place) {
    const Round names(place, 0, 0);
    std::filesystem::create_directories(names.list + "/below");
    std::filesystem::create_directories(place.path("results"));
    for (const char *name : {"/a", "/b c", "/d'e"}) {
        write_file(names.list + name, name);
    }
    write_file(place.path("rw/ini/disk1"), "empty");
    write_file(place.path("rw/glbv/load.sgv"), value_of(4711));
    write_file(place.path("rw/glbv/all.sgv"), value_of(1));
    write_file(place.path("rw/glbv/gv_client_trace.sgv"), kTraced);
    run({VN_CLIENT_PROGRAM, "d", names.list}, names.listing, "/dev/null");
    for (const char *letter : {"k", "x"}) { // make the files that stay
        run({VN_CLIENT_PROGRAM, "-r", "-u", "root", "-f", letter, "-s",
             "vn_perf 2 IDLE; kill -9 $$"},
            "/dev/null", "/dev/null");
    }
}

void measure_all(int requests) {
    const measure::Workplace place;
    prepare(place);
    bool right = true;
    std::printf("concurrent: %d requests each; empty: a variable that all write, seen while it is "
                "replaced\n%9s %9s %9s %7s %11s %7s %7s\n",
                requests, "at once", "ours/s", "cat/s", "ratio", "INI reads", "empty", "wrong");
    for (const int agents : {1, 2, 8, 64, kMost}) {
        right = measure_round(place, agents, requests) && right;
    }
    if (!right) {
        throw std::runtime_error("concurrent: not all was right");
    }
}

} // namespace

int main(int argc, char **argv) {
    const int requests = argc > 1 ? static_cast<int>(std::strtol(argv[1], nullptr, 10)) : 5000;
    return measure::exit_status([&] { measure_all(requests); });
}
