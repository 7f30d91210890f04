// The scene language a second time, plainly: one table of nodes by their full path, in which every
// value is the text that emission writes and every resource its name. Only knows lines with a
// right number of words.
#pragma once

#include "scene/Command.h"

#include <algorithm>
#include <cmath>
#include <sstream>

using Fields = std::map<std::string, std::string>;  // values by property

inline Words Cut(const std::string& text, char separator) {
    std::istringstream stream(text);
    Words words;
    for (std::string word; std::getline(stream, word, separator);)
        if (!word.empty()) words.push_back(word);
    return words;
}

// Properties in the order of emission, each with its kind (n number, v vector, c colour, b switch,
// m mesh, t texture, others by their keywords), its first value, and ! when always emitted.
using Properties = std::vector<Words>;
inline const Properties kObject = {{"mesh", "m", "-"},        {"pos", "v", "0,0,0", "!"},
                                   {"up", "v", "0,1,0", "!"}, {"point", "v", "0,0,1", "!"},
                                   {"visible", "b", "1"},     {"active", "b", "1"},
                                   {"shadow", "b", "1"},      {"billboard", "b", "0"}};
inline const Properties kLight = {
    {"pos", "v", "0,0,0", "!"},  {"pointat", "v", "0,0,0"}, {"active", "b", "1"},
    {"shadows", "b", "1"},       {"color", "c", "1,1,1,1"}, {"falloff", "v", "1,0,0.01"},
    {"ambient", "c", "0,0,0,0"}, {"angle", "n", "180"},     {"focus", "n", "0"},
    {"shadowlen", "n", "100"},   {"global", "c", "0,0,0,0"}};
inline const Properties kCamera = {{"pos", "v", "0,0,0", "!"}, {"lookat", "v", "0,0,-1", "!"},
                                   {"up", "v", "0,1,0", "!"},  {"fov", "n", "60", "!"},
                                   {"hith", "n", "0.1", "!"},  {"yon", "n", "1e+06", "!"}};
// Here "color" is the diffuse one: so emission writes it.
inline const Properties kShader = {
    {"mesh", "m", "-"},       {"texture", "t", "-"},        {"color", "c", "1,1,1,1"},
    {"lit", "b", "1"},        {"ambient", "c", "1,1,1,1"},  {"specular", "c", "1,1,1,1"},
    {"shininess", "n", "20"}, {"emission", "c", "0,0,0,1"}, {"blend", "B", "0"},
    {"rmode", "R", "0"},      {"atest", "A", "0"},          {"athresh", "n", "0.5"},
    {"thick", "n", "1"},      {"smooth", "b", "1"},         {"depth", "b", "1"},
    {"faces", "F", "0"}};

struct Keywords {
    std::string complaint;  // about a word that is none: it has the count of values for its value
    std::size_t count;
    std::string words;  // of all values, perhaps a second time
};
inline const std::map<char, Keywords> kKeywords = {
    {'B',
     {"BlendFunc: Unknown blend function", 8, "opaque|replace|add|blend|mul|haze|filter|subtract"}},
    {'R', {"RenderFunc: Unknown render function", 6, "solid|wire|outline|shadow|wireshadow|shell"}},
    {'A', {"TestFunc: Unknown test function", 4, "1|0|<|>|always|never|lt|gt"}},
    {'F', {"Faces: Unknown face culling", 3, "front|back|all"}},
    {'P', {"ShaderPass: Unknown pass", 4, "base|light|shadow|blend"}}};

inline Fields Normal(const Properties& properties) {
    Fields fields;
    for (const Words& property : properties)
        fields[property[0]] = property[2];
    return fields;
}

class SceneModel {
public:
    std::string drawn;  // the room that is followed; empty for none
    Words object;       // the current one: its room and the names down to it
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
            Make(object = {m_room = w[1]});
        } else if (w[0] == "object") {
            const Words key = Key(w.size() == 2 ? m_room : w[1], last);
            if (!key.empty()) Make(object = key);
        } else if (w[0] == "delete") {
            if (w.size() == 3) Make(Key(w[1], last));
            Erase(Key(w[1], w.size() == 3 ? last : ""));
        } else if (w[0] == "move") {
            Move(Key(w[2], w[1]), Key(w[3], w[1]));
        } else if (w[0] == "set") {
            const Words named = Key(w.size() == 5 ? w[1] : m_room, w[w.size() - 3]);
            const Words key = w.size() == 3 ? object : named;
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

    std::string Emitted() const {
        std::string text = Lines("camera ", kCamera, m_camera);
        for (const auto& [key, node] : m_nodes) {
            std::string head = "set ";
            if (key.size() == 1) {
                text += "room " + key[0] + "\nlight ambient " + node.fields.at("room") + '\n';
            } else if (key[1].empty()) {
                head = "light set " + key[2] + ' ';
                text += Lines(head, kLight, node.fields);
            } else {
                std::string path = JoinWords(Params(key).subspan(1));
                std::replace(path.begin(), path.end(), ' ', '/');
                text += "object " + path + '\n' + Lines(head, kObject, node.fields);
            }
            for (const auto& [pass, list] : node.shaders)
                for (const Fields& entry : list)
                    if (key.size() > 1)
                        text += ShaderLines(entry) + head + "shade " +
                                (pass == "add" ? pass : Written('P', pass)) + '\n';
            text += '\n';
        }
        return text;
    }

private:
    struct Node {
        Fields fields;
        std::map<std::string, std::vector<Fields>> shaders;  // by pass
    };
    // Rooms, their lights (whose second name is empty) and objects. In the order of their keys an
    // object's parts follow it.
    std::map<Words, Node> m_nodes;
    std::string m_room;
    Fields m_camera = Normal(kCamera);
    std::string m_said;

    // Empty without a room.
    static Words Key(const std::string& room, const std::string& path) {
        Words key;
        if (!room.empty()) key = Cut(room + '/' + path, '/');
        return key;
    }
    static bool IsWithin(const Words& key, const Words& root) {
        return key.size() >= root.size() && std::equal(root.begin(), root.end(), key.begin());
    }
    Node& Make(const Words& key) {
        if (drawn.empty()) drawn = key[0];
        for (std::size_t size = 1; size <= key.size(); ++size) {
            Fields& fields = m_nodes[Words(key.begin(), key.begin() + size)].fields;
            if (fields.empty()) fields = Normal(kObject);
            if (size == 1) fields.emplace("room", "0,0,0,1");
        }
        return m_nodes[key];
    }
    void Erase(const Words& root) {
        std::erase_if(m_nodes, [&](const auto& entry) {
            if (!IsWithin(entry.first, root)) return false;
            for (const auto& [pass, list] : entry.second.shaders)
                for (const Fields& shaderOfList : list)
                    Use(shaderOfList, -1);
            Use(entry.second.fields, -1);
            return true;
        });
        if (IsWithin(object, root)) object.clear();
        if (root.size() > 1) return;
        if (m_room == root[0]) m_room.clear();
        if (drawn == root[0]) drawn = m_nodes.empty() ? "" : m_nodes.begin()->first[0];
    }
    void Move(const Words& from, const Words& to) {
        Make({from[0]});
        Make({to[0]});
        if (from == to || !m_nodes.contains(from)) return;
        Make(to);
        Erase(to);
        if (IsWithin(object, from)) object[0] = to[0];
        for (const auto& [key, node] : std::exchange(m_nodes, {})) {
            Words place = key;
            if (IsWithin(key, from)) place[0] = to[0];
            m_nodes[place] = node;
        }
    }

    void DoLight(const Words& w, const std::string& room) {
        const std::string& last = w.back();
        Make({room});
        if (w[1] == "ambient") m_nodes[{room}].fields["room"] = Value('c', last);
        if (w[1] == "delete") m_nodes.erase({room, "", last});  // and nobody gives back its users
        if (w[1] != "set") return;
        Node& light = m_nodes[{room, "", w[w.size() - 3]}];
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
        for (const char* kind : {"mesh", "texture"}) {
            const auto held = fields.find(kind);
            if (held == fields.end() || held->second == "-") continue;
            users[held->second] += change;
            if (users[held->second] == 0) ++released;
        }
    }
    bool Assign(const Properties& properties, Fields& fields, const std::string& name,
                const std::string& word, const std::string& complaint) {
        for (const Words& property : properties) {
            if (property[0] != name) continue;
            if (word == "/none") {
                m_said += name == "mesh" ? "GeoImage" : "Texture";
                m_said += "::Load: could not open file /none\n";
                return true;
            }
            Use({{name, word}}, 1);
            Use({{name, fields[name]}}, -1);
            fields[name] = Value(property[1][0], word);
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
    static std::string List(const std::string& word, Words values) {
        std::size_t i = 0;
        for (const std::string& piece : Cut(word, ',')) {
            const std::size_t begin = piece.find_first_of("-0123456789");
            if (begin != piece.npos && i < values.size()) values[i++] = Number(piece.substr(begin));
        }
        std::string text = JoinWords(values);
        std::replace(text.begin(), text.end(), ' ', ',');
        return text;
    }
    std::string Value(char kind, const std::string& word) {
        if (kind == 'm' || kind == 't') return word;
        if (kind == 'n') return Number(word);
        if (kind == 'v') return List(word, {"0", "0", "0"});
        if (kind == 'c') return List(word, {"0", "0", "0", "1"});
        if (kind == 'b') return std::string("tTyY1").find(word[0]) != word.npos ? "1" : "0";
        const auto& [complaint, count, list] = kKeywords.at(kind);
        const Words words = Cut(list, '|');
        const auto at = std::find(words.begin(), words.end(), word);
        if (at != words.end()) return std::to_string(std::size_t(at - words.begin()) % count);
        m_said += "Parse" + complaint + ' ' + word + '\n';
        return std::to_string(count);
    }
    static std::string Written(char kind, const std::string& value) {
        if (!kKeywords.contains(kind)) return value;
        const auto& [complaint, count, list] = kKeywords.at(kind);
        return std::stoul(value) < count ? Cut(list, '|')[std::stoul(value)] : "unknown-" + value;
    }
    static std::string Lines(const std::string& head, const Properties& properties,
                             const Fields& fields) {
        std::string text;
        for (const Words& p : properties) {
            const std::string& value = fields.at(p[0]);
            if (p.size() == 4 || value != p[2])
                text += head + p[0] + ' ' + Written(p[1][0], value) + '\n';
        }
        return text;
    }
    static std::string ShaderLines(Fields entry) {
        if (entry["ambient"] == entry["color"]) entry["ambient"] = "1,1,1,1";
        for (const char* name : {"ambient", "specular", "shininess", "emission"})
            if (entry["lit"] == "0") entry[name] = Normal(kShader)[name];
        entry["faces"] = "0";
        return "shader new\n" + Lines("shader set ", kShader, entry);
    }
};
