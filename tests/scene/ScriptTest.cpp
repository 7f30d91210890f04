// Random scripts against a plain second version of the language: what is printed, what is emitted,
// who uses which resource, and the links between objects.
#include "SceneFixture.h"

#include "support/RecordingDriver.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using Fields = std::map<std::string, std::string>;  // values by property

// Properties in the order of emission, each with its kind (n number, v vector, c colour, b switch,
// m mesh, t texture, others by their keywords), its first value, and ! when always emitted.
using Properties = std::vector<Words>;
const Properties kObject = {{"mesh", "m", "-"},        {"pos", "v", "0,0,0", "!"},
                            {"up", "v", "0,1,0", "!"}, {"point", "v", "0,0,1", "!"},
                            {"visible", "b", "1"},     {"active", "b", "1"},
                            {"shadow", "b", "1"},      {"billboard", "b", "0"}};
const Properties kLight = {
    {"pos", "v", "0,0,0", "!"},  {"pointat", "v", "0,0,0"}, {"active", "b", "1"},
    {"shadows", "b", "1"},       {"color", "c", "1,1,1,1"}, {"falloff", "v", "1,0,0.01"},
    {"ambient", "c", "0,0,0,0"}, {"angle", "n", "180"},     {"focus", "n", "0"},
    {"shadowlen", "n", "100"},   {"global", "c", "0,0,0,0"}};
const Properties kCamera = {{"pos", "v", "0,0,0", "!"}, {"lookat", "v", "0,0,-1", "!"},
                            {"up", "v", "0,1,0", "!"},  {"fov", "n", "60", "!"},
                            {"hith", "n", "0.1", "!"},  {"yon", "n", "1e+06", "!"}};
// Here "color" is the diffuse one: so emission writes it.
const Properties kShader = {
    {"mesh", "m", "-"},       {"texture", "t", "-"},        {"color", "c", "1,1,1,1"},
    {"lit", "b", "1"},        {"ambient", "c", "1,1,1,1"},  {"specular", "c", "1,1,1,1"},
    {"shininess", "n", "20"}, {"emission", "c", "0,0,0,1"}, {"blend", "B", "opaque"},
    {"rmode", "R", "solid"},  {"atest", "A", "1"},          {"athresh", "n", "0.5"},
    {"thick", "n", "1"},      {"smooth", "b", "1"},         {"depth", "b", "1"},
    {"faces", "F", "front"}};

struct Keywords {
    std::string complaint;  // about an unknown word
    std::size_t count;
    std::string words;  // of all values, of unknown ones, and others for the same values
};
const std::map<char, Keywords> kKeywords = {
    {'B',
     {"BlendFunc: Unknown blend function", 8,
      "opaque|replace|add|blend|mul|haze|filter|subtract|unknown-8"}},
    {'R',
     {"RenderFunc: Unknown render function", 6,
      "solid|wire|outline|shadow|wireshadow|shell|unknown-6"}},
    {'A', {"TestFunc: Unknown test function", 4, "1|0|<|>|unknown-4|always|never|lt|gt"}},
    {'F', {"Faces: Unknown face culling", 3, "front|back|all|unknown-3"}},
    {'P', {"ShaderPass: Unknown pass", 4, "base|light|shadow|blend|unknown-4"}}};

Fields Normal(const Properties& properties) {
    Fields fields = {{"room", "0,0,0,1"}};  // a room's own light
    for (const Words& property : properties)
        fields[property[0]] = property[2];
    return fields;
}

// One table of nodes by their full path, in which every value is the text that emission writes and
// every resource its name. Only knows lines with a right number of words.
class SceneModel {
public:
    std::string drawn;   // the room that is followed; empty for none
    std::string object;  // the key of the current one
    Fields shader = Normal(kShader);
    bool cameraChanged = false;
    std::map<std::string, int> users;  // of resources
    int released = 0;                  // resources that are gone

    // What the line prints.
    std::string Run(const std::string& line) {
        m_said.clear();
        const Words w = Cut(line, ' ');
        const std::string& last = w.back();
        const std::string& property = w[w.size() - 2];
        if (w[0] == "room") {
            Make(object = m_room = w[1]);
        } else if (w[0] == "object") {
            const std::string key = Key(w.size() == 2 ? m_room : w[1], last);
            if (!key.empty()) Make(object = key);
        } else if (w[0] == "delete") {
            if (w.size() == 3) Make(Key(w[1], last));
            Erase(Key(w[1], w.size() == 3 ? last : ""));
        } else if (w[0] == "move") {
            Make(w[2]);
            Make(w[3]);
            Move(Key(w[2], w[1]), Key(w[3], w[1]));
        } else if (w[0] == "set") {
            const std::string named = Key(w.size() == 5 ? w[1] : m_room, w[w.size() - 3]);
            const std::string key = w.size() == 3 ? object : named;
            if (key.empty()) return "";
            if (property == "shade" || property == "clear" || property == "pop")
                Edit(Make(key).shaders[Value('P', last)], property);
            else
                Assign(kObject, Make(key).fields, property, last, "SetProperty: unknown");
        } else if (w[0] == "shader" && w.size() == 2) {
            Use(shader, -1);
            shader = Normal(kShader);
        } else if (w[0] == "shader") {
            Assign(kShader, shader, property == "diffuse" ? "color" : property, last,
                   "SetProperty(shader): unknown");
            if (property == "color") shader["ambient"] = shader["color"];
        } else if (w[0] == "light") {
            const std::string& room = w.size() == (w[1] == "set" ? 5U : 3U) ? m_room : w[2];
            if (!room.empty()) DoLight(w, room);
        } else if (w[0] == "camera") {
            cameraChanged |= Assign(kCamera, m_camera, property, last, "CmdCamera: Unknown");
        }
        return m_said;
    }

    std::string Emitted() {
        std::string text = Lines("camera ", kCamera, m_camera);
        for (auto& [key, node] : m_nodes) {
            const std::size_t slash = key.find('/');
            std::string head = "set ";
            if (slash == key.npos) {
                text += "room " + key + "\nlight ambient " + node.fields["room"] + '\n';
            } else if (key[slash + 1] == '/') {
                head = "light set " + key.substr(slash + 2) + ' ';
                text += Lines(head, kLight, node.fields);
            } else {
                text += "object " + key.substr(slash + 1) + '\n';
                text += Lines(head, kObject, node.fields);
            }
            for (const std::string& pass : Cut("add|" + kKeywords.at('P').words, '|'))
                for (const Fields& entry : node.shaders[pass])
                    if (slash != key.npos)
                        text += ShaderLines(entry) + head + "shade " + pass + '\n';
            text += '\n';
        }
        return text;
    }

private:
    struct Node {
        Fields fields;
        std::map<std::string, std::vector<Fields>> shaders;  // by pass
    };
    // Rooms by name, their lights ("room//light") and objects ("room/object/part").
    std::map<std::string, Node> m_nodes;
    std::string m_room;
    Fields m_camera = Normal(kCamera);
    std::string m_said;

    // Empty without a room.
    static std::string Key(std::string key, const std::string& path) {
        for (const std::string& name : Cut(path, '/'))
            if (!key.empty()) key += '/' + name;
        return key;
    }
    static bool IsWithin(const std::string& key, const std::string& root) {
        return (key + '/').starts_with(root + '/');
    }
    Node& Make(const std::string& key) {
        const std::size_t slash = key.rfind('/');
        if (slash != key.npos) Make(key.substr(0, slash));
        if (drawn.empty()) drawn = key;
        Fields& fields = m_nodes[key].fields;
        if (fields.empty()) fields = Normal(kObject);
        return m_nodes[key];
    }
    void Erase(const std::string& root) {
        std::erase_if(m_nodes, [&](const auto& entry) {
            if (!IsWithin(entry.first, root)) return false;
            for (const auto& [pass, list] : entry.second.shaders)
                for (const Fields& shaderOfList : list)
                    Use(shaderOfList, -1);
            Use(entry.second.fields, -1);
            return true;
        });
        if (IsWithin(object, root)) object.clear();
        if (m_room == root) m_room.clear();
        if (drawn == root) drawn = m_nodes.empty() ? "" : m_nodes.begin()->first;
    }
    void Move(const std::string& from, const std::string& to) {
        if (from == to || !m_nodes.contains(from)) return;
        Make(to);
        Erase(to);
        if (IsWithin(object, from)) object.replace(0, from.size(), to);
        for (const auto& [key, node] : std::exchange(m_nodes, {}))
            m_nodes[IsWithin(key, from) ? to + key.substr(from.size()) : key] = node;
    }

    void DoLight(const Words& w, const std::string& room) {
        const std::string& last = w.back();
        Make(room);
        if (w[1] == "ambient") m_nodes[room].fields["room"] = Value('c', last);
        if (w[1] == "delete") m_nodes.erase(room + "//" + last);  // and nobody gives back its users
        if (w[1] != "set") return;
        Node& light = m_nodes[room + "//" + w[w.size() - 3]];
        if (light.fields.empty()) light.fields = Normal(kLight);
        if (w[w.size() - 2] == "shade")
            Edit(light.shaders["add"], last);
        else
            Assign(kLight, light.fields, w[w.size() - 2], last, "SetLight: unknown");
    }
    // A list of shaders: the current one added, the last one taken off, or all.
    void Edit(std::vector<Fields>& list, const std::string& action) {
        if (action == "shade" || action == "add") {
            list.push_back(shader);
            Use(shader, 1);
        }
        if (action == "twice") m_said += "light set shade: unknown command twice\n";
        for (auto n = action == "clear" ? list.size() : action == "pop" ? 1 : 0; n > 0; --n) {
            if (list.empty()) return;
            Use(list.back(), -1);
            list.pop_back();
        }
    }

    void Use(const Fields& fields, int change) {
        for (const auto& [name, value] : fields) {
            if ((name != "mesh" && name != "texture") || value == "-") continue;
            users[value] += change;
            if (users[value] == 0) ++released;
        }
    }
    bool Assign(const Properties& properties, Fields& fields, const std::string& name,
                const std::string& word, const std::string& complaint) {
        for (const Words& property : properties) {
            if (property[0] != name) continue;
            if (word == "/none") {
                m_said += name == "mesh" ? "GeoImage" : "Texture";
                m_said += "::Load: could not open file /none\n";
            } else {
                Use({{name, word}}, 1);
                Use({{name, fields[name]}}, -1);
                fields[name] = Value(property[1][0], word);
            }
            return true;
        }
        m_said += "Command::" + complaint + " property " + name + '\n';
        return false;
    }

    static std::string Number(const std::string& word) {
        const float value = std::strtof(word.c_str(), nullptr);
        std::ostringstream text;
        text << (std::isfinite(value) ? value : 0.0F);
        return text.str();
    }
    // Of what stands between the commas, from its first digit or sign on; the rest as given.
    static std::string List(const std::string& word, std::size_t count) {
        Words values = {"0", "0", "0", "1"};
        values.resize(count);
        std::size_t i = 0;
        for (const std::string& piece : Cut(word, ',')) {
            const std::size_t begin = piece.find_first_of("-0123456789");
            if (begin != piece.npos && i < count) values[i++] = Number(piece.substr(begin));
        }
        std::string text = JoinWords(values);
        std::replace(text.begin(), text.end(), ' ', ',');
        return text;
    }
    std::string Value(char kind, const std::string& word) {
        if (kind == 'm' || kind == 't') return word;
        if (kind == 'n') return Number(word);
        if (kind == 'v' || kind == 'c') return List(word, kind == 'v' ? 3 : 4);
        if (kind == 'b') return std::string("tTyY1").find(word[0]) != word.npos ? "1" : "0";
        const auto& [complaint, count, list] = kKeywords.at(kind);
        const Words words = Cut(list, '|');
        const std::size_t at = std::find(words.begin(), words.end(), word) - words.begin();
        const std::size_t value = at < words.size() ? at % (count + 1) : count;
        if (value == count) m_said += "Parse" + complaint + ' ' + word + '\n';
        return words[value];
    }
    static std::string Lines(const std::string& head, const Properties& properties,
                             const Fields& fields) {
        std::string text;
        for (const Words& p : properties) {
            const std::string& value = fields.at(p[0]);
            if (p.size() == 4 || value != p[2]) text += head + p[0] + ' ' + value + '\n';
        }
        return text;
    }
    static std::string ShaderLines(Fields entry) {
        if (entry["ambient"] == entry["color"]) entry["ambient"] = "1,1,1,1";
        for (const char* name : {"ambient", "specular", "shininess", "emission"})
            if (entry["lit"] == "0") entry[name] = Normal(kShader)[name];
        entry["faces"] = "front";
        return "shader new\n" + Lines("shader set ", kShader, entry);
    }
};

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

void ExpectLinks(Object& object) {
    EXPECT_EQ(object.ChildOctree().ObjectCount(), std::ssize(object.children));
    for (const auto& [name, child] : object.children) {
        EXPECT_EQ(child->parent, &object);
        ExpectLinks(*child);
    }
}

TEST_F(Scene, RandomLinesDoWhatASecondVersionSays) {
    const std::string mesh = Mesh("m");
    const std::string image = Image("t");
    const auto word = [](char kind, int value) {
        return Cut(kKeywords.at(kind).words, '|')[std::size_t(value)];
    };
    for (unsigned seed = 0; seed < 40; ++seed) {
        RecordingDriver driver;
        database = std::make_unique<SceneDatabase>();
        command = std::make_unique<Command>(database.get());
        database->AddDriver(&driver);
        SceneModel model;
        Room* drawn = nullptr;
        command->FollowRoom(&drawn);
        Script script(seed, mesh, image);
        std::string log;
        for (int i = 1; i <= 320 && !HasFailure(); ++i) {
            const std::string line = script.Line();
            log += line + '\n';
            EXPECT_EQ(Errors(line), model.Run(line));
            // What emission leaves out.
            const Shader& s = command->CurrentShader();
            EXPECT_EQ(word('B', s.blend), model.shader["blend"]);
            EXPECT_EQ(word('R', s.rmode), model.shader["rmode"]);
            EXPECT_EQ(word('A', s.atest), model.shader["atest"]);
            EXPECT_EQ(word('F', s.faces), model.shader["faces"]);
            EXPECT_EQ(s.material.ambient == s.material.diffuse,
                      model.shader["ambient"] == model.shader["color"]);
            EXPECT_EQ(drawn, model.drawn.empty() ? nullptr : command->Rooms().at(model.drawn));
            EXPECT_EQ(command->TakeCameraChanged(), std::exchange(model.cameraChanged, false));
            EXPECT_EQ(command->CurrentObject() != nullptr, !model.object.empty());
            if (i % 40 != 0) continue;
            EXPECT_EQ(Emit(), model.Emitted());
            for (const auto& [name, room] : command->Rooms())
                ExpectLinks(*room);
            database->DrainPurges();
            EXPECT_EQ(std::ssize(driver.log), model.released);
        }
        const std::string text = model.Emitted();
        for (const std::string& line : Cut("delete r|delete s|delete t1|shader new", '|'))
            EXPECT_EQ(Errors(line), model.Run(line));
        Errors(text);
        EXPECT_EQ(Emit(), text) << "loading what was emitted";
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
