// Bodies of ResourceManager; included by its header only.
// Must not know what a resource is made of.
#include <memory>
#include <sstream>
#include <utility>

#include "files/FileAccess.h"

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
        m_sourceOf.erase(resource);
        delete resource;
    }
    for (const auto& [resource, source] : m_sourceOf)
        delete resource;
}

template <class T>
bool ResourceManager<T>::IsThere(const Source& source) const {
    if (m_bySource.contains(source)) return true;
    const int fd = OpenForReading(source.Path());
    if (fd >= 0) CloseFile(fd);
    return fd >= 0;
}

template <class T>
auto ResourceManager<T>::Locate(const std::string& name, const std::string& folder) const
    -> Source {
    const Source plain{name, ""};
    if (folder.empty() || name.starts_with('/') || IsThere(plain)) return plain;
    const Source beside{name, folder};
    return IsThere(beside) ? beside : plain;
}

template <class T>
T* ResourceManager<T>::Acquire(const std::string& name, bool reload, const std::string& folder) {
    return Get(Locate(name, folder), reload);
}

template <class T>
T* ResourceManager<T>::Get(const Source& source, bool reload) {
    const auto found = m_bySource.find(source);
    T* const existing = found == m_bySource.end() ? nullptr : found->second;
    if (existing != nullptr && !reload) return existing;

    auto fresh = std::make_unique<T>();
    if (!fresh->Load(source.Path(), source.name)) return existing;
    if (existing != nullptr) {
        ReplaceContents(*existing, *fresh);
        return existing;
    }
    m_bySource[source] = fresh.get();
    m_sourceOf[fresh.get()] = source;
    return fresh.release();
}

template <class T>
void ResourceManager<T>::Reload(const std::string& name) {
    for (auto entry = m_bySource.lower_bound({name, ""});
         entry != m_bySource.end() && entry->first.name == name; ++entry)
        Get(entry->first, true);
}

template <class T>
void ResourceManager<T>::AddRef(T* resource) {
    if (resource != nullptr) ++m_useCounts[resource];
}

template <class T>
bool ResourceManager<T>::Release(T* resource) {
    if (resource == nullptr) return false;
    if (--m_useCounts[resource] >= 1) return false;
    const auto found = m_sourceOf.find(resource);
    if (found != m_sourceOf.end()) {
        m_bySource.erase(found->second);
        m_sourceOf.erase(found);
    }
    m_useCounts.erase(resource);
    delete resource;
    return true;
}
