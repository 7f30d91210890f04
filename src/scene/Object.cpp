// The record of a scene node: what it holds and what caches hold of it. Places and radii are kept
// elsewhere.
#include "scene/Object.h"

Object::Object() : m_octree(std::make_unique<Octree>()) {}

Object::~Object() = default;

const std::vector<Shader>& Object::ShaderList(ShaderPass pass) const {
    static const std::vector<Shader> none;
    const auto found = shaders.find(pass);
    return found != shaders.end() ? found->second : none;
}

Object* Object::Child(std::string_view name) const {
    const auto found = children.find(name);
    return found != children.end() ? found->second : nullptr;
}

void Object::AddShader(ShaderPass pass, const Shader& shader) {
    shaders[pass].push_back(shader);
    Invalidate();
}

void Object::InvalidateTree() {
    Invalidate();
    for (const auto& [name, child] : children) {
        if (child != nullptr) child->InvalidateTree();
    }
}
