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
    EXPECT_EQ(Errors("/room  x\nRoom x\nroom\nroom x y\nobject\nobject x y z\ndelete\n"
                     "delete x y z\nmove x y\nreload\nset\nset a  b c d e\nset size 1\n"
                     "shader\nshader new x\nshader set lit\nshader set color 1, 0,0\n"
                     "shader old x\nshader set hue 1\nemit\nemit x y\n"
                     "light\nlight dim\nlight ambient\nlight ambient x 1 2\nlight set l pos\n"
                     "light set x l pos 1 2\ncamera pos\ncamera zoom 2\ncamera aspect 2"),
              "Command::DoCommand: unknown command /room x\n"
              "Command::DoCommand: unknown command Room x\n"
              "Command::CmdRoom: invalid number of parameters\n"
              "Command::CmdRoom: invalid number of parameters\n"
              "Command::CmdObject: invalid number of parameters\n"
              "Command::CmdObject: invalid number of parameters\n"
              "Command::CmdDelete: Invalid number of parameters \n"
              "Command::CmdDelete: Invalid number of parameters x y z\n"
              "Command::MoveCmd: invalid number of parameters\n"
              "Command::CmdReload: missing parameters\n"
              "Command::CmdSet: Invalid number of parameters\n"
              "Command::CmdSet: Invalid number of parametersa b c d e\n"
              "Command::SetProperty: unknown property size\n"
              "Usage: shader <new|set param value>\n"
              "shader new: wrong number of parameters\n"
              "shader set: wrong number of parameters\n"
              "shader set: wrong number of parameters\n"
              "shader: unknown command old x\n"
              "Command::SetProperty(shader): unknown property hue\n"
              "Usage: emit <filename>\nUsage: emit <filename>\n"
              "Command::CmdLight: insufficient arguments\n"
              "Command::CmdLight: unknown subcommand dim\n"
              "Command::CmdLight: invalid args for 'ambient'\n"
              "Command::CmdLight: invalid args for 'ambient'\n"
              "Command::CmdLight: invalid args for 'set'\n"
              "Command::CmdLight: invalid args for 'set'\n"
              "Command::CmdCamera: invalid args\n"
              "Command::CmdCamera: Unknown property zoom\n"
              "Command::CmdCamera: Unknown property aspect\n");
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
    EXPECT_TRUE(command->GetRoom("b")->children.empty());
    EXPECT_EQ(command->GetRoom("b")->ChildOctree().ObjectCount(), 0);
    EXPECT_EQ(command->CurrentRoom(), command->GetRoom("a"));

    Run("delete b");
    EXPECT_EQ(drawn, command->GetRoom("a"));
    Run("delete a\nset pos 1,1,1\nobject x");
    EXPECT_EQ(drawn, nullptr);
    EXPECT_EQ(command->CurrentRoom(), nullptr);
    EXPECT_TRUE(command->Rooms().empty());
    Run("delete never");
    EXPECT_TRUE(command->Rooms().empty());
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
    EXPECT_TRUE(moved->derivedCache.empty());
    EXPECT_TRUE(At("d", "a/b/c")->derivedCache.empty());
    EXPECT_EQ(At("s", "a/b"), nullptr);
    EXPECT_EQ(At("s", "a")->ChildOctree().ObjectCount(), 0);
    EXPECT_EQ(At("d", "a")->ChildOctree().ObjectCount(), 1);
    EXPECT_EQ(At("d", "a/b/old"), nullptr);

    Run("object d a/b/c\nmove a/b d s\nset pos 7,0,0");
    EXPECT_EQ(At("s", "a/b/c")->pos, (vec3{7, 0, 0})) << "the current object moved along";
    EXPECT_EQ(Errors("move a/b s s\nmove a/none s d\nmove none/b s new"), "");
    EXPECT_NE(At("s", "a/b"), nullptr);
    EXPECT_EQ(At("d", "a/none"), nullptr);
    EXPECT_EQ(At("s", "none"), nullptr);
    EXPECT_TRUE(command->GetRoom("new")->children.empty());
    EXPECT_EQ(End(), "");
}

TEST_F(CommandTest, LinesAreReadOneByOneAndBounded) {
    std::istringstream lines("room a\r\n\nroom b");
    EXPECT_TRUE(ExecuteLine(lines, *command));
    EXPECT_TRUE(ExecuteLine(lines, *command));
    EXPECT_EQ(command->Rooms().size(), 1U);
    EXPECT_FALSE(ExecuteLine(lines, *command));
    EXPECT_FALSE(ExecuteLine(lines, *command));
    EXPECT_EQ(command->Rooms().count("a") + command->Rooms().count("b"), 2U);
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
    Object* const deepest = command->CurrentObject();
    EXPECT_EQ(deepest, At("r", path));
    for (const std::string& deep : {path + "/a", path + path + longest + path}) {
        EXPECT_EQ(Errors("object " + deep + "\nset " + deep + " pos 1,1,1\ndelete r " + deep +
                         "\nmove " + deep + " r s"),
                  "ResolvePath: path has more than 256 components\n"
                  "ResolvePath: path has more than 256 components\n"
                  "ResolvePath: path has more than 256 components\n"
                  "ResolvePath: path has more than 256 components\n");
    }
    EXPECT_EQ(command->CurrentObject(), deepest);
    EXPECT_EQ(command->GetRoom("r")->children.size(), 1U);
    EXPECT_TRUE(deepest->children.empty() && command->GetRoom("s")->children.empty());
}

struct Console {
    Command* command;
    std::string path;
    static void* Body(void* self) {
        std::ifstream input(static_cast<Console*>(self)->path);
        while (ExecuteLine(input, *static_cast<Console*>(self)->command)) {
        }
        return nullptr;
    }
};

bool SceneLockIsFree() {
    if (pthread_mutex_trylock(&sceneLock) != 0) return false;
    pthread_mutex_unlock(&sceneLock);
    return true;
}

TEST_F(CommandTest, CancellationNeverInterruptsACommand) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Console console{command.get(), "/dev/fd/" + std::to_string(ends[0])};
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, Console::Body, &console), 0);
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
        if (!drawn && !command->Rooms().empty()) drawn = command->Rooms().begin()->second;
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
