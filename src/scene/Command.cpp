// Words, dispatch and line reading of the scene language.
// Knows no property and no scene structure: those are in the other Command*.cpp.
#include "scene/Command.h"

#include "scene/SceneDatabase.h"
#include "scene/SceneLock.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <mutex>
#include <string_view>

struct Command::Entry {
    std::string_view name;
    void (Command::*run)(Params params);
};

const Command::Entry Command::kTable[] = {
    {"room", &Command::CmdRoom},
    {"object", &Command::CmdObject},
    {"delete", &Command::CmdDelete},
    {"move", &Command::MoveCmd},
    {"set", &Command::CmdSet},
    {"shader", &Command::CmdShader},
    {"light", &Command::CmdLight},
    {"reload", &Command::CmdReload},
    {"camera", &Command::CmdCamera},
    {"emit", &Command::CmdEmit},
    {"r_set", &Command::CmdRendererSetting},
    {"d_set", &Command::CmdDriverSetting},
};

Command::Command(SceneDatabase* database) : m_database(database) {}

Command::~Command() {
    Words names;
    for (const auto& [name, room] : m_rooms) {
        names.push_back(name);
    }
    for (const std::string& name : names) {
        DoCommand({"delete", name});
    }
    DoCommand({"shader", "new"});
}

void Command::DoCommand(const Words& words) {
    if (words.empty()) {
        std::cerr << "Command::DoCommand: empty command\n";
        return;
    }
    const std::string& name = words.front();
    if (name.starts_with('#')) return;
    for (const Entry& entry : kTable) {
        if (entry.name == name) {
            (this->*entry.run)(Params(words).subspan(1));
            return;
        }
    }
    if (name.starts_with("//")) return;
    std::cerr << "Command::DoCommand: unknown command " + JoinWords(words) + '\n';
}

void Command::SetSceneFolder(const std::string& folder) {
    m_database->LookBeside(folder);
}

bool Command::TakeCameraChanged() {
    const bool changed = m_cameraChanged;
    m_cameraChanged = false;
    return changed;
}

std::string JoinWords(Params words) {
    std::string text;
    for (const std::string& word : words) {
        if (&word != words.data()) text += ' ';
        text += word;
    }
    return text;
}

namespace {

struct Line {
    std::string text;
    bool cut = false;  // longer than kMaxLineLength
};

// Works on the stream's buffer, not through the stream: a thread that is cancelled in here must
// unwind freely, and only what the buffer itself throws (reading a directory) marks the stream bad.
Line ReadLine(std::istream& input) {
    Line line;
    std::size_t length = 0;
    try {
        for (;;) {
            const int c = input.rdbuf()->sbumpc();
            if (c == std::char_traits<char>::eof()) {
                input.setstate(std::ios::eofbit);
                break;
            }
            if (c == '\n') break;
            if (++length <= kMaxLineLength) {
                line.text += static_cast<char>(c);
            } else if (length > kEndlessLineLength) {
                input.setstate(std::ios::badbit);
                break;
            }
        }
    } catch (const std::exception&) {
        input.setstate(std::ios::badbit);
    }
    line.cut = length > kMaxLineLength;
    return line;
}

Words SplitWords(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    Words words;
    for (;;) {
        const std::size_t begin = line.find_first_not_of(kBlanks);
        if (begin == std::string_view::npos) return words;
        line.remove_prefix(begin);
        const std::size_t end = std::min(line.find_first_of(kBlanks), line.size());
        words.emplace_back(line.substr(0, end));
        line.remove_prefix(end);
    }
}

// Shutdown cancels the console thread; a cancellation inside a command would leave the scene half
// changed and its locks taken for ever.
class CancellationOff {
public:
    CancellationOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
    ~CancellationOff() { pthread_setcancelstate(m_before, nullptr); }
    CancellationOff(const CancellationOff&) = delete;
    CancellationOff& operator=(const CancellationOff&) = delete;

private:
    int m_before = PTHREAD_CANCEL_ENABLE;
};

class SceneLockHeld {
public:
    SceneLockHeld() { pthread_mutex_lock(&sceneLock); }
    ~SceneLockHeld() { pthread_mutex_unlock(&sceneLock); }
    SceneLockHeld(const SceneLockHeld&) = delete;
    SceneLockHeld& operator=(const SceneLockHeld&) = delete;
};

}  // namespace

bool ExecuteLine(std::istream& input, Command& command) {
    if (!input.good()) return false;
    const Line line = ReadLine(input);
    const CancellationOff uninterrupted;
    if (line.cut) {
        std::cerr << "ExecuteLine: line longer than " + std::to_string(kMaxLineLength) +
                         " bytes, the rest is ignored\n";
    }
    if (input.bad()) return false;
    const Words words = SplitWords(line.text);
    if (!words.empty()) {
        const SceneLockHeld commandsExcluded;
        const std::lock_guard framesExcluded(frameLock);
        command.DoCommand(words);
    }
    return input.good();
}
