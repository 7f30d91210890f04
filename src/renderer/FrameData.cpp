// Reading of a frame's settings, and the lists of a frame.
#include "renderer/FrameData.h"

#include "renderer/RendererSettings.h"
#include "settings/Settings.h"

#include <cmath>

using namespace renderer_settings;

namespace {

// A budget is declared as a decimal logarithm; negative stays as it is, for no limit.
float SampleBudget(float setting) {
    return setting >= 0 ? std::pow(10.0F, setting) : setting;
}

}  // namespace

FrameSettings::FrameSettings(const Settings& settings)
    : detailSteps(settings.GetInt(kDetailSteps)),
      shaderBudget(settings.GetInt(kShaderBudget)),
      blend(settings.GetBool(kBlend)),
      mostLevels(std::int64_t{1} << settings.GetInt(kCacheEntries)),
      mostBytes(std::int64_t{settings.GetInt(kCacheKilobytes)} << 10) {
    const float scale = std::sqrt(settings.Get(kDetailScale));
    drawn = {scale, settings.Get(kMaxDetail), SampleBudget(settings.Get(kMaxSamples))};
    shadow = {scale * settings.Get(kShadowDetail), settings.Get(kMaxShadowDetail),
              SampleBudget(settings.Get(kMaxShadowSamples))};
    const float drain = settings.Get(kCacheDrain);
    if (drain >= 0) keptShare = 1 - drain;
}

LightList& FrameLists::BeginLights() {
    plainLights.clear();
    shadowLights.clear();
    if (m_lightSetCount == m_lightSets.size()) m_lightSets.emplace_back();
    LightList& lights = m_lightSets[m_lightSetCount++];
    lights.clear();
    return lights;
}

void FrameLists::AddBlended(const Matrix& modelView, Object* object) {
    blended.Add(modelView, object);
    m_blendLights[object] = &m_lightSets[m_lightSetCount - 1];
}

void FrameLists::Forget(Object* object) {
    lit.Remove(object);
    blended.Remove(object);
}

void FrameLists::Clear() {
    plainLights.clear();
    shadowLights.clear();
    lit.Clear();
    blended.Clear();
    m_blendLights.clear();
    m_lightSetCount = 0;
}
