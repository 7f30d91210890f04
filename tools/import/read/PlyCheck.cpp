// Walks over the values of a PLY file without keeping them.
#include "import/read/PlyCheck.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

constexpr const char* kCut = "it ends too early";

enum class Form { Text, LittleEndian, BigEndian };

struct Property {
    std::size_t size = 0;       // bytes of a value
    std::size_t countSize = 0;  // bytes of the count of a list; 0: one value
};

struct Element {
    std::uint64_t count = 0;
    std::vector<Property> properties;
};

struct Header {
    Form form = Form::Text;
    std::vector<Element> elements;
};

std::size_t SizeOf(const std::string& type) {
    struct Type {
        const char* name;
        std::size_t size;
    };
    constexpr Type types[] = {{"char", 1},  {"uchar", 1},   {"int8", 1},   {"uint8", 1},
                              {"short", 2}, {"ushort", 2},  {"int16", 2},  {"uint16", 2},
                              {"int", 4},   {"uint", 4},    {"int32", 4},  {"uint32", 4},
                              {"float", 4}, {"float32", 4}, {"double", 8}, {"float64", 8}};
    for (const Type& known : types)
        if (type == known.name) return known.size;
    return 0;
}

bool ReadProperty(std::istringstream& words, Header& header) {
    std::string type;
    std::string countType;
    words >> type;
    const bool list = type == "list";
    if (list) words >> countType >> type;
    const Property property{SizeOf(type), list ? SizeOf(countType) : 0};
    if (header.elements.empty() || property.size == 0 || (list && property.countSize == 0)) {
        return false;
    }
    header.elements.back().properties.push_back(property);
    return true;
}

// Of one line; false for what has no meaning.
bool ReadHeaderLine(const std::string& line, Header& header) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "property") return ReadProperty(words, header);
    if (word == "element") {
        words >> word >> header.elements.emplace_back().count;
        return !words.fail();
    }
    if (word == "format") {
        words >> word;
        const std::string_view forms[] = {"ascii", "binary_little_endian", "binary_big_endian"};
        const auto form = std::ranges::find(forms, word);
        header.form = static_cast<Form>(form - std::begin(forms));
        return form != std::end(forms);
    }
    // Some writers leave out the word "comment" ahead of the elements.
    return header.elements.empty() || word == "comment" || word == "obj_info" || word.empty();
}

// In a few words, what is wrong with it; empty for nothing.
std::string ReadHeader(std::istream& file, Header& header) {
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("end_header")) return "";
        if (!ReadHeaderLine(line, header)) return "its header is damaged";
    }
    return kCut;
}

// The values behind the header, one after the other.
class Body {
public:
    Body(Form form, std::string_view bytes) : m_form(form), m_left(bytes) {}

    // False at the end.
    bool Skip(std::uint64_t count, std::size_t size) {
        if (m_form != Form::Text) return Take(count, size).has_value();
        for (; count > 0; --count)
            if (Word().empty()) return false;
        return true;
    }
    std::optional<std::uint64_t> Count(std::size_t size) {
        if (m_form == Form::Text) return WordCount();
        const std::optional<std::string_view> bytes = Take(1, size);
        if (!bytes) return std::nullopt;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t at = m_form == Form::BigEndian ? i : size - 1 - i;
            value = value << 8 | static_cast<unsigned char>((*bytes)[at]);
        }
        return value;
    }

private:
    Form m_form;
    std::string_view m_left;

    std::optional<std::string_view> Take(std::uint64_t count, std::size_t size) {
        if (count > m_left.size() / size) return std::nullopt;
        const std::string_view taken = m_left.substr(0, count * size);
        m_left.remove_prefix(taken.size());
        return taken;
    }
    std::string_view Word() {
        const auto blank = [](unsigned char c) { return std::isspace(c) != 0; };
        const auto begin = std::ranges::find_if_not(m_left, blank);
        const auto end = std::find_if(begin, m_left.end(), blank);
        m_left = std::string_view(end, m_left.end());
        return {begin, end};
    }
    std::optional<std::uint64_t> WordCount() {
        const std::string_view word = Word();
        if (word.empty()) return std::nullopt;
        std::uint64_t value = 0;
        std::from_chars(word.data(), word.data() + word.size(), value);
        return value;
    }
};

bool SkipElement(Body& body, const Element& element) {
    return std::ranges::all_of(element.properties, [&](const Property& property) {
        if (property.countSize == 0) return body.Skip(1, property.size);
        const std::optional<std::uint64_t> count = body.Count(property.countSize);
        return count && body.Skip(*count, property.size);
    });
}

}  // namespace

std::string WhyNoPly(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    if (!std::getline(file, line) || (line != "ply" && line != "ply\r")) return "";
    Header header;
    if (std::string reason = ReadHeader(file, header); !reason.empty()) return reason;
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    Body body(header.form, bytes);
    for (const Element& element : header.elements)
        for (std::uint64_t i = 0; i < element.count && !element.properties.empty(); ++i)
            if (!SkipElement(body, element)) return kCut;
    return "";
}
