// Where the OpenGL driver's drawing meets its cache of display lists.
#include "drivers/gl/DriverGL.h"
#include "drivers/gl/SettingsGL.h"

bool DriverGL::PlayCached(const CacheKey& key) {
    const DisplayList* list = m_lists.Find(key).list;
    if (list != nullptr) m_lists.PlayDList(*list);
    return list != nullptr;
}

DisplayList* DriverGL::StartRecording() {
    return m_lists.RecDList(GetInt(gl_settings::kMostLists));
}

void DriverGL::KeepRecording(const CacheKey& key, DisplayList& list) {
    m_lists.EndDList();
    m_lists.Insert(key, list);
}

void DriverGL::Purge(GeoImage* mesh) {
    m_lists.Purge(mesh);
}
