// Bodies of ResourceManager; included by its header only.
// Must not know what a resource is made of.
#include <memory>
#include <sstream>
#include <utility>

template <class T>
ResourceManager<T>::ResourceManager(std::string kind) : m_kind(std::move(kind)) {}

template <class T>
ResourceManager<T>::~ResourceManager() {
    for (const auto& [resource, count] : m_useCounts) {
        // A stream of its own: whatever formatting others left on cerr stays out of the address.
        std::ostringstream line;
        line << "Memory leak detected - " << m_kind << " resource "
             << static_cast<const void*>(resource) << " has " << count << " references!";
        std::cerr << line.str() << std::endl;
    }
    for (const auto& [resource, count] : m_useCounts) {
        m_nameOf.erase(resource);
        delete resource;
    }
    for (const auto& [resource, name] : m_nameOf)
        delete resource;
}

template <class T>
T* ResourceManager<T>::Acquire(const std::string& name, bool reload) {
    const auto found = m_byName.find(name);
    T* const existing = found == m_byName.end() ? nullptr : found->second;
    if (existing != nullptr && !reload) return existing;

    auto fresh = std::make_unique<T>();
    if (!fresh->Load(name)) return existing;
    if (existing != nullptr) {
        ReplaceContents(*existing, *fresh);
        return existing;
    }
    m_byName[name] = fresh.get();
    m_nameOf[fresh.get()] = name;
    return fresh.release();
}

template <class T>
void ResourceManager<T>::AddRef(T* resource) {
    if (resource != nullptr) ++m_useCounts[resource];
}

template <class T>
bool ResourceManager<T>::Release(T* resource) {
    if (resource == nullptr) return false;
    if (--m_useCounts[resource] >= 1) return false;
    const auto named = m_nameOf.find(resource);
    if (named != m_nameOf.end()) {
        m_byName.erase(named->second);
        m_nameOf.erase(named);
    }
    m_useCounts.erase(resource);
    delete resource;
    return true;
}
