#pragma once

#include <cstdint>

// Tags of the sections of a vault file, which spell themselves in it (docs/file-format.md).

inline constexpr uint32_t kVLR_MagicVersion4 = 0x564C5F34; // "VL_4"
inline constexpr uint32_t kVLR_TagReferenceBuffer = 0x46697368; // "Fish"
inline constexpr uint32_t kVLR_TagPreferences = 0x50726566; // "Pref"
inline constexpr uint32_t kVLR_TagDeletionList = 0x44656C65; // "Dele"
inline constexpr uint32_t kVLR_TagSyncInformation = 0x5379496E; // "SyIn"
inline constexpr uint32_t kVLR_TagRecord = 0x50646174; // "Pdat"
