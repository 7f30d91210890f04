// Words, dispatch, line reading and the commands of structure, with hostile lines and threads.
#include "SceneFixture.h"

#include "scene/SceneLock.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <thread>

namespace {

using CommandTest = SceneFixture;

TEST_F(CommandTest, WrongLinesPrintTheirMessageAndChangeNothing) {
    EXPECT_EQ(Errors("object a\nset pos 1,2,3\nset a pos 1,2,3\nlight ambient 1,1,1\n"
                     "light set l pos 1,2,3\nlight delete l"),
              "")
        << "without a room nothing happens, silently";
    EXPECT_TRUE(command->Rooms().empty());
    Run("room r");
    EXPECT_EQ(Errors("\n \t\v\f\r\n# room x\n#room x\n// room x\n//room x\nreload unknown names\n"
                     "light delete\nlight delete x y z\nr_set\nd_set x 1 2"),
              "");
    const struct {
        const char* lines;
        const char* message;  // of each line
    } cases[] = {
        {"/room  x", "Command::DoCommand: unknown command /room x"},
        {"Room x", "Command::DoCommand: unknown command Room x"},
        {"room\nroom x y", "Command::CmdRoom: invalid number of parameters"},
        {"object\nobject x y z", "Command::CmdObject: invalid number of parameters"},
        {"delete", "Command::CmdDelete: Invalid number of parameters "},
        {"delete x y z", "Command::CmdDelete: Invalid number of parameters x y z"},
        {"move x y", "Command::MoveCmd: invalid number of parameters"},
        {"reload", "Command::CmdReload: missing parameters"},
        {"set", "Command::CmdSet: Invalid number of parameters"},
        {"set a  b c d e", "Command::CmdSet: Invalid number of parametersa b c d e"},
        {"set size 1", "Command::SetProperty: unknown property size"},
        {"shader", "Usage: shader <new|set param value>"},
        {"shader new x", "shader new: wrong number of parameters"},
        {"shader set lit\nshader set color 1, 0,0", "shader set: wrong number of parameters"},
        {"shader old x", "shader: unknown command old x"},
        {"shader set hue 1", "Command::SetProperty(shader): unknown property hue"},
        {"emit\nemit x y", "Usage: emit <filename>"},
        {"light", "Command::CmdLight: insufficient arguments"},
        {"light dim", "Command::CmdLight: unknown subcommand dim"},
        {"light ambient\nlight ambient x 1 2", "Command::CmdLight: invalid args for 'ambient'"},
        {"light set l pos\nlight set x l pos 1 2", "Command::CmdLight: invalid args for 'set'"},
        {"camera pos", "Command::CmdCamera: invalid args"},
        {"camera zoom 2", "Command::CmdCamera: Unknown property zoom"},
        {"camera aspect 2", "Command::CmdCamera: Unknown property aspect"},
    };
    for (const auto& [lines, message] : cases) {
        std::istringstream each(lines);
        for (std::string line; std::getline(each, line);)
            EXPECT_EQ(Errors(line), std::string(message) + '\n') << line;
    }
    EXPECT_EQ(CaptureStderr([&] { command->DoCommand({}); }),
              "Command::DoCommand: empty command\n");
    EXPECT_EQ(command->Rooms().size(), 1U);
    EXPECT_TRUE(command->GetRoom("r")->children.empty() && command->GetRoom("r")->lights.empty());
    EXPECT_FALSE(command->TakeCameraChanged());
    EXPECT_EQ(Errors("light set l shade twice\nlight set l hue 1"),
              "light set shade: unknown command twice\n"
              "Command::SetLight: unknown property hue\n");
}

TEST_F(CommandTest, EveryFormFindsOrMakesItsPlaceInTheNamedOrTheCurrentRoom) {
    Run("room r\nset pos 9,9,9\nobject a//b//\nset pos 1,2,3\nobject r2 x/y\nobject a/b/c\n"
        "set a/b up 1,0,0\nset r2 x point 0,1,0\nset visible 0\nset //u up 1,0,0\n"
        "set r3 /// up 1,0,0\nlight ambient 1\nlight ambient r2 2\nlight set l pos 3\n"
        "light set r2 l pos 4\nlight set gone pos 1\nlight delete gone\n"
        "light set r2 gone pos 1\nlight delete r2 gone");
    const Room& r = *command->GetRoom("r");
    const Room& r2 = *command->GetRoom("r2");
    EXPECT_EQ(r.pos, (vec3{9, 9, 9}));
    EXPECT_EQ(At("r", "a/b")->pos, (vec3{1, 2, 3}));
    EXPECT_EQ(At("r", "a/b")->up, (vec3{1, 0, 0}));
    EXPECT_EQ(At("r2", "x")->point, (vec3{0, 1, 0}));
    EXPECT_NE(At("r2", "x/y"), nullptr);
    EXPECT_EQ(command->CurrentObject(), At("r", "a/b/c"));
    EXPECT_FALSE(At("r", "a/b/c")->visible);
    EXPECT_EQ(r.Child("")->Child("u")->up, (vec3{1, 0, 0})) << "leading slashes name a child ''";
    EXPECT_EQ(At("r3", "")->up, (vec3{1, 0, 0}));
    EXPECT_EQ(r.children.size(), 2U);
    EXPECT_TRUE(r.ambient == (Color{1, 0, 0, 1}) && r2.ambient == (Color{2, 0, 0, 1}));
    EXPECT_TRUE(r.lights.size() == 1 && r.lights.at("l")->pos.x == 3);
    EXPECT_TRUE(r2.lights.size() == 1 && r2.lights.at("l")->pos.x == 4);
}

TEST_F(CommandTest, DeletingLeavesNoPointerBehind) {
    Room* drawn = nullptr;
    command->FollowRoom(&drawn);
    Run("room b\nobject a/b/c\nroom a\nlight set l pos 1,1,1\nobject b a/b/c\n");
    drawn = command->GetRoom("b");
    Run("delete b a/b/c/d");  // never existed
    EXPECT_EQ(command->CurrentObject(), At("b", "a/b/c"));
    Run("delete b a");
    EXPECT_EQ(command->CurrentObject(), nullptr);
    EXPECT_TRUE(drawn->children.empty() && drawn->ChildOctree().ObjectCount() == 0);
    EXPECT_EQ(command->CurrentRoom(), command->GetRoom("a"));

    Run("delete b");
    EXPECT_EQ(drawn, command->GetRoom("a"));
    Run("delete a\nset pos 1,1,1\nobject x\ndelete never");
    EXPECT_TRUE(drawn == nullptr && command->CurrentRoom() == nullptr);
    EXPECT_TRUE(command->Rooms().empty());
    Run("set b a pos 1,1,1\nroom a");
    EXPECT_EQ(drawn, command->GetRoom("b")) << "what is made when nothing is drawn is drawn";
    command->FollowRoom(nullptr);
}

TEST_F(CommandTest, MoveTakesASubtreeToAnotherRoom) {
    Run("object s a/b/c\nobject d a/b/old\nset pos 5,5,5\nobject s a/b\nset pos 3,4,0");
    Object* moved = At("s", "a/b");
    moved->derivedCache.insert(this);
    At("s", "a/b/c")->derivedCache.insert(this);
    Run("object d a/b/old");
    EXPECT_EQ(Errors("move a/b s d"), "");
    EXPECT_EQ(command->CurrentObject(), nullptr) << "it lay in what the move replaced";
    EXPECT_EQ(At("d", "a/b"), moved);
    EXPECT_EQ(moved->parent, At("d", "a"));
    EXPECT_EQ(moved->pos, (vec3{3, 4, 0}));
    EXPECT_TRUE(moved->derivedCache.empty() && At("d", "a/b/c")->derivedCache.empty());
    EXPECT_EQ(At("d", "a/b/old"), nullptr);
    EXPECT_EQ(At("s", "a/b"), nullptr);
    EXPECT_EQ(At("s", "a")->ChildOctree().ObjectCount(), 0);
    EXPECT_EQ(At("d", "a")->ChildOctree().ObjectCount(), 1);

    Run("object d a/b/c\nmove a/b d s\nset pos 7,0,0");
    EXPECT_EQ(At("s", "a/b/c")->pos, (vec3{7, 0, 0})) << "the current object moved along";
    EXPECT_EQ(Errors("move a/b s s\nmove a/none s d\nmove none/b s new"), "");
    EXPECT_NE(At("s", "a/b"), nullptr);
    EXPECT_TRUE(At("d", "a/none") == nullptr && At("s", "none") == nullptr);
    EXPECT_TRUE(command->GetRoom("new")->children.empty());
    EXPECT_EQ(End(), "");
}

TEST_F(CommandTest, LinesAreReadOneByOneAndBounded) {
    std::istringstream lines("room a\r\n\nroom b");
    EXPECT_TRUE(ExecuteLine(lines, *command) && ExecuteLine(lines, *command));
    EXPECT_EQ(command->Rooms().size(), 1U);
    EXPECT_FALSE(ExecuteLine(lines, *command) || ExecuteLine(lines, *command));
    EXPECT_TRUE(command->Rooms().contains("a") && command->Rooms().contains("b"));
    Run("delete a\ndelete b");

    const std::string cut = "ExecuteLine: line longer than 1048576 bytes, the rest is ignored\n";
    const std::string fits = "room " + std::string(kMaxLineLength - 6, ' ') + 'r';
    EXPECT_EQ(Errors(fits + "\nroom s"), "");
    EXPECT_EQ(Errors(fits + "2\nroom t"), cut);
    EXPECT_EQ(command->Rooms().size(), 3U);
    EXPECT_EQ(Errors(std::string(kEndlessLineLength + 1, 'x') + "\nroom u"), cut);
    std::ifstream directory(dir.Path());
    EXPECT_FALSE(ExecuteLine(directory, *command));
    EXPECT_EQ(command->Rooms().size(), 3U);
}

TEST_F(CommandTest, DeepPathsCostOneMessageEach) {
    std::string path = "/";
    for (int i = 1; i < kMaxPathDepth; ++i)
        path += "/a";
    const std::string longest(400000, '/');
    Run("room r\nobject " + longest + path);
    const std::string message = "ResolvePath: path has more than 256 components\n";
    Object* const deepest = command->CurrentObject();
    EXPECT_EQ(deepest, At("r", path));
    for (const std::string& deep : {path + "/a", path + path + longest + path}) {
        EXPECT_EQ(Errors("object " + deep + "\nset " + deep + " pos 1,1,1\ndelete r " + deep +
                         "\nmove " + deep + " r s"),
                  message + message + message + message);
    }
    EXPECT_EQ(command->CurrentObject(), deepest);
    EXPECT_EQ(command->GetRoom("r")->children.size(), 1U);
    EXPECT_TRUE(deepest->children.empty() && command->GetRoom("s")->children.empty());
}

bool SceneLockIsFree() {
    if (pthread_mutex_trylock(&sceneLock) != 0) return false;
    pthread_mutex_unlock(&sceneLock);
    return true;
}

TEST_F(CommandTest, CancellationNeverInterruptsACommand) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    struct Console {
        std::ifstream input;
        Command& interpreter;
    } console{std::ifstream("/dev/fd/" + std::to_string(ends[0])), *command};
    const auto body = [](void* self) -> void* {
        auto& running = *static_cast<Console*>(self);
        while (ExecuteLine(running.input, running.interpreter)) {
        }
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, body, &console), 0);
    frameLock.lock();
    ASSERT_EQ(write(ends[1], "room r\n", 7), 7);
    while (SceneLockIsFree()) {
        std::this_thread::yield();
    }
    pthread_cancel(thread);  // while the command waits for the frame to end
    ASSERT_EQ(write(ends[1], "room s\n", 7), 7);
    EXPECT_TRUE(command->Rooms().empty());
    frameLock.unlock();
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(SceneLockIsFree());
    EXPECT_TRUE(frameLock.TryLockFor(1000));
    frameLock.unlock();
    EXPECT_EQ(command->Rooms().size(), 1U);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(CommandTest, CommandsAndFramesTakeTurns) {
    Room* drawn = nullptr;
    command->FollowRoom(&drawn);
    std::atomic<int> commands = 0;
    std::atomic<int> frames = 0;
    std::size_t objects = 0;
    const auto unfinished = [&] { return commands < 1000 || frames < 1000; };
    std::thread console([&] {
        for (; unfinished(); commands += 9) {
            Run("room r\nobject a/b\nset pos 1,2,3\nset shade base\nlight set l pos 1,1,1\n"
                "camera fov 50\nmove a r s\ndelete r\ndelete s a");
        }
    });
    for (; unfinished(); ++frames) {
        const std::lock_guard frame(frameLock);
        if (drawn) objects += drawn->children.size() + drawn->lights.size();
        command->TakeCameraChanged();
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    console.join();
    command->FollowRoom(nullptr);
    EXPECT_GT(objects, 0U);
    EXPECT_LT(frames, commands * 20) << "commands starve";
}

}  // namespace
