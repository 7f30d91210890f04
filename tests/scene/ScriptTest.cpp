// Random scripts against a plain second version of the language: what is printed, what is emitted,
// who uses which resource, and the links between objects.
#include "SceneFixture.h"

#include "SceneModel.h"
#include "scene/CommandValues.h"
#include "support/RecordingDriver.h"

#include <algorithm>
#include <random>

namespace {

// Writes lines of the language, with values and names that are missing, odd or unknown among them.
class Script {
public:
    Script(unsigned seed, const std::string& mesh, const std::string& texture) : m_random(seed) {
        m_words['m'] = "- /none " + mesh + ' ' + mesh;
        m_words['t'] = "- /none " + texture + ' ' + texture;
        for (const auto& [kind, keywords] : kKeywords)
            m_words[kind] = keywords[1] + " xor " + (kind == 'A' ? keywords[2] : "");
    }

    // One of the templates, in which % and a letter stands for a random word, or for a property
    // and its value.
    std::string Line() {
        static const Words kTemplates = Cut(
            "room %r;object %p;object %p;object %r %p;delete %r;delete %r %p;move %p %r %r;"
            "set %O;set %O;set %O;set %p %O;set %r %p %O;set hue 1;set shade base;set shade base;"
            "set shade %P;set shade %P;set %p shade %P;set pop base;set pop %P;set clear %P;"
            "shader new;shader set %S;shader set %S;shader set %S;shader set %S;shader set %S;"
            "shader set color %c;shader set hue 1;light ambient %c;light ambient %r %c;"
            "light set %l %L;light set %r %l %L;light set %l shade %s;light set %l shade add;"
            "light set %r %l shade %s;light set %l hue 1;light delete %l;light delete %r %l;"
            "camera %C;camera zoom 2",
            ';');
        std::string line = kTemplates[m_random() % kTemplates.size()];
        for (std::size_t at; (at = line.find('%')) != line.npos;)
            line.replace(at, 2, Word(line[at + 1]));
        return line;
    }

private:
    std::mt19937 m_random;
    std::map<char, std::string> m_words = {
        {'r', "r s t1"},
        {'p', "a b a/b a//c/ a/b/c"},
        {'l', "k l"},
        {'s', "add add pop pop clear twice"},
        {'b', "1 0 yes True no on t Y - 2"},
        {'n', "0 0.5 1 20 100 180 123456789 1e-7 .5 -3 +4 7x x 1e39 nan -inf"},
        {',', "0 1 1 1 2.5 .5 -3 +4 x 7x inf 1e999 0.01 -"}};

    std::string Word(char kind) {
        static const std::map<char, const Words*> kTables = {
            {'O', &kObject}, {'L', &kLight}, {'C', &kCamera}, {'S', &kShader}};
        if (const auto found = kTables.find(kind); found != kTables.end()) {
            const Words property = Cut((*found->second)[m_random() % found->second->size()], ' ');
            return property[0] + ' ' + Word(property[1][0]);
        }
        if (kind == 'v' || kind == 'c') {
            std::string list = ",";
            for (auto i = m_random() % 6; i > 0; --i)
                list = Word(',') + ',' + list;
            return list;
        }
        const Words words = Cut(m_words.at(kind), ' ');
        return words[m_random() % words.size()];
    }
};

class ScriptTest : public SceneFixture {
protected:
    SceneModel model;

    static void ExpectLinks(Object& object) {
        EXPECT_EQ(object.ChildOctree().ObjectCount(), std::ssize(object.children));
        for (const auto& [name, child] : object.children) {
            EXPECT_EQ(child->parent, &object);
            ExpectLinks(*child);
        }
    }
    // What emission leaves out.
    void ExpectEqualStates(const Room* drawn) {
        const Shader& s = command->CurrentShader();
        const auto text = [](const Color& c) {
            return NumberText(c.r) + ',' + NumberText(c.g) + ',' + NumberText(c.b) + ',' +
                   NumberText(c.a);
        };
        Fields now = model.shader;
        now["ambient"] = text(s.material.ambient);
        now["diffuse"] = text(s.material.diffuse);
        const int keywords[] = {s.blend, s.rmode, s.atest, s.faces};
        for (int i = 0; const char* name : {"blend", "rmode", "atest", "faces"})
            now[name] = std::to_string(keywords[i++]);
        EXPECT_EQ(now, model.shader);
        EXPECT_EQ(drawn, model.drawn.empty() ? nullptr : command->Rooms().at(model.drawn));
        EXPECT_EQ(command->TakeCameraChanged(), std::exchange(model.cameraChanged, false));
        EXPECT_EQ(command->CurrentObject() != nullptr, !model.object.empty());
    }
    // What nobody holds is gone, but for the shaders of lights that were deleted by name.
    std::string Leaks(const char* kind, const std::string& name) {
        const int users = model.users[name];
        return users == 0 ? ""
                          : std::string("Memory leak detected - ") + kind + " resource * has " +
                                std::to_string(users) + " references!\n";
    }
};

TEST_F(ScriptTest, RandomLinesDoWhatASecondVersionSays) {
    const std::string mesh = Mesh("m");
    const std::string image = Image("t");
    for (unsigned seed = 0; seed < 40; ++seed) {
        RecordingDriver driver;
        database = std::make_unique<SceneDatabase>();
        command = std::make_unique<Command>(database.get());
        database->AddDriver(&driver);
        model = SceneModel();
        Room* drawn = nullptr;
        command->FollowRoom(&drawn);
        Script script(seed, mesh, image);
        std::string log;
        for (int i = 1; i <= 320 && !HasFailure(); ++i) {
            const std::string line = script.Line();
            log += line + '\n';
            EXPECT_EQ(Errors(line), model.Run(line));
            ExpectEqualStates(drawn);
            if (i % 40 != 0) continue;
            EXPECT_EQ(Emit(), model.Emitted());
            for (const auto& [name, room] : command->Rooms())
                ExpectLinks(*room);
            database->DrainPurges();
            EXPECT_EQ(std::ssize(driver.log), model.released);
        }
        const std::string text = model.Emitted();
        const std::string clear = "delete r\ndelete s\ndelete t1\nshader new";
        Run(clear);
        Errors(text);
        EXPECT_EQ(Emit(), text) << "loading what was emitted";
        for (const std::string& line : Cut(clear, '\n'))
            model.Run(line);
        command->FollowRoom(nullptr);
        EXPECT_EQ(WithoutAddresses(End()), Leaks("mesh", mesh) + Leaks("texture", image));
        ASSERT_FALSE(HasFailure()) << "seed " << seed << " after\n" << log;
    }
}

}  // namespace
