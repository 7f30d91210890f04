// Fields of scene records by the names that the scene language has for them.
// Knows no record and no value syntax.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

template <class Holder, class Field>
struct Property {
    std::string_view name;
    Field Holder::*field;
};

// Parses the value into the field of that name, if the table has it.
template <class Holder, class Field, std::size_t N, class Parser>
bool Assign(const Property<Holder, Field> (&table)[N], Holder& holder, const std::string& name,
            const std::string& value, Parser parse) {
    for (const Property<Holder, Field>& property : table) {
        if (property.name != name) continue;
        holder.*property.field = parse(value);
        return true;
    }
    return false;
}
