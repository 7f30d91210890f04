// Random scripts against a plain second version of the language: what is printed, what is emitted,
// who uses which resource, and the links between objects.
#include "SceneFixture.h"

#include "SceneModel.h"
#include "support/RecordingDriver.h"

#include <algorithm>
#include <random>

namespace {

// Writes lines of the language, with values and names that are missing, odd or unknown among them.
class Script {
public:
    Script(unsigned seed, const std::string& mesh, const std::string& texture) : m_random(seed) {
        m_texts['m'] = "-|/none|" + mesh + '|' + mesh;
        m_texts['t'] = "-|/none|" + texture + '|' + texture;
        for (const auto& [kind, keywords] : kKeywords)
            m_texts[kind] = keywords.words;
        for (const auto& [kind, properties] :
             {std::pair{'O', kObject}, {'L', kLight}, {'C', kCamera}, {'S', kShader}})
            for (const Words& property : properties)
                m_texts[kind] += property[0] + " %" + property[1] + '|';
    }
    std::string Line() {
        std::string line = "%*";
        for (std::size_t at; (at = line.find('%')) != line.npos;) {
            const Words choice = Cut(m_texts.at(line[at + 1]), '|');
            line.replace(at, 2, choice[m_random() % choice.size()]);
        }
        return line;
    }

private:
    std::mt19937 m_random;
    // By kind, the texts of which any one may stand for "%" and the kind.
    std::map<char, std::string> m_texts = {
        {'*',
         "room %r|object %p|object %p|object %r %p|delete %r|delete %r %p|move %p %r %r|"
         "set %O|set %O|set %O|set %p %O|set %r %p %O|set hue 1|set shade base|set shade base|"
         "set shade %P|set shade %P|set %p shade %P|set pop base|set pop %P|set clear %P|"
         "shader new|shader set %S|shader set %S|shader set %S|shader set %S|shader set %S|"
         "shader set diffuse %c|shader set hue 1|light ambient %c|light ambient %r %c|"
         "light set %l %L|light set %r %l %L|light set %l shade %s|light set %l shade add|"
         "light set %r %l shade %s|light set %l hue 1|light delete %l|light delete %r %l|"
         "camera %C|camera zoom 2"},
        {'r', "r|s|t1"},
        {'p', "a|b|a/b|a//c/|a/b/c"},
        {'l', "k|l"},
        {'s', "add|add|pop|pop|clear|twice"},
        {'b', "1|0|yes|True|no|on|t|Y|-|2"},
        {'n', "0|0.5|1|20|100|180|123456789|1e-7|.5|-3|+4|7x|x|1e39|nan|-inf"},
        {'v', ",|%,,%v|%,,%v|%,,%v"},
        {'c', "%v"},
        {',', "0|1|1|1|2.5|.5|-3|+4|x|7x|inf|1e999|0.01|-"}};
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
        const auto word = [](char kind, int value) {
            return Cut(kKeywords.at(kind).words, '|')[value];
        };
        EXPECT_EQ(word('B', s.blend), model.shader["blend"]);
        EXPECT_EQ(word('R', s.rmode), model.shader["rmode"]);
        EXPECT_EQ(word('A', s.atest), model.shader["atest"]);
        EXPECT_EQ(word('F', s.faces), model.shader["faces"]);
        EXPECT_EQ(s.material.ambient == s.material.diffuse,
                  model.shader["ambient"] == model.shader["color"]);
        EXPECT_EQ(drawn, model.drawn.empty() ? nullptr : command->Rooms().at(model.drawn));
        EXPECT_EQ(command->TakeCameraChanged(), std::exchange(model.cameraChanged, false));
        EXPECT_EQ(command->CurrentObject() != nullptr, !model.object.empty());
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
        // What nobody holds is gone, but for the shaders of lights that were deleted by name.
        std::string leaks;
        for (const auto& [kind, name] : {std::pair{"mesh", mesh}, {"texture", image}})
            if (const int users = model.users[name])
                leaks += std::string("Memory leak detected - ") + kind + " resource * has " +
                         std::to_string(users) + " references!\n";
        EXPECT_EQ(WithoutAddresses(End()), leaks);
        ASSERT_FALSE(HasFailure()) << "seed " << seed << " after\n" << log;
    }
}

}  // namespace
