// Bytes of the file headers. All words are big-endian:
//
//      mesh     "sNMM"  version  error  exponent  flags      texture  "sTXT"
//      byte     0       4        8      12        16         or       "sTX2"  version  flags
//
// A mesh of version 0 ends before the error, one of version 1 before the flags.
#include "geometry/FileHeader.h"

#include <cstring>

#include "files/FileAccess.h"
#include "geometry/BigEndian.h"

namespace {

constexpr char kMesh[] = "sNMM";
constexpr char kPlainTexture[] = "sTXT";  // no version, no flags
constexpr char kTexture[] = "sTX2";
constexpr std::uint8_t kWrapColumnsBit = 1;
constexpr std::uint8_t kWrapRowsBit = 2;
constexpr std::uint8_t kFilterBit = 1;
constexpr std::uint8_t kMipmapBit = 2;

// False, with value 0, when the file has nothing left.
bool ReadWord(int fd, std::int32_t& value) {
    std::uint8_t bytes[4];
    const bool any = ReadBytes(fd, bytes, sizeof bytes) > 0;
    value = ReadBigEndian32(bytes);
    return any;
}

std::uint8_t ReadFlags(int fd) {
    std::uint8_t flags = 0;
    ReadBytes(fd, &flags, 1);
    return flags;
}

std::uint8_t Flags(bool first, std::uint8_t firstBit, bool second, std::uint8_t secondBit) {
    return static_cast<std::uint8_t>((first ? firstBit : 0) | (second ? secondBit : 0));
}

}  // namespace

HeaderFault ReadHeader(int fd, MeshHeader& header) {
    char magic[4];
    ReadBytes(fd, magic, sizeof magic);
    if (std::memcmp(magic, kMesh, sizeof magic) != 0) return HeaderFault::Magic;
    ReadWord(fd, header.version);
    if (header.version > MeshHeader::kVersion) return HeaderFault::Version;
    if (header.version >= 1 && !(ReadWord(fd, header.error) && ReadWord(fd, header.exponent)))
        return HeaderFault::Short;
    if (header.version == 2) {
        const std::uint8_t flags = ReadFlags(fd);
        header.wrapColumns = (flags & kWrapColumnsBit) != 0;
        header.wrapRows = (flags & kWrapRowsBit) != 0;
    }
    return HeaderFault::None;
}

HeaderFault ReadHeader(int fd, TextureHeader& header) {
    header.version = 0;
    if (ReadBytes(fd, header.magic, 4) < 0) return HeaderFault::Unreadable;
    if (std::strcmp(header.magic, kPlainTexture) == 0) return HeaderFault::None;
    if (std::strcmp(header.magic, kTexture) != 0) return HeaderFault::Magic;
    ReadWord(fd, header.version);
    if (header.version > TextureHeader::kVersion) return HeaderFault::Version;
    if (header.version >= 1) {
        const std::uint8_t flags = ReadFlags(fd);
        header.filter = (flags & kFilterBit) != 0;
        header.mipmap = (flags & kMipmapBit) != 0;
    }
    return HeaderFault::None;
}

bool WriteHeader(int fd, const MeshHeader& header) {
    std::uint8_t bytes[MeshHeader::kWrittenLength];
    std::memcpy(bytes, kMesh, 4);
    WriteBigEndian32(bytes + 4, MeshHeader::kVersion);
    WriteBigEndian32(bytes + 8, header.error);
    WriteBigEndian32(bytes + 12, header.exponent);
    bytes[16] = Flags(header.wrapColumns, kWrapColumnsBit, header.wrapRows, kWrapRowsBit);
    return WriteBytes(fd, bytes, sizeof bytes);
}

bool WriteHeader(int fd, const TextureHeader& header) {
    std::uint8_t bytes[TextureHeader::kWrittenLength];
    std::memcpy(bytes, kTexture, 4);
    WriteBigEndian32(bytes + 4, TextureHeader::kVersion);
    bytes[8] = Flags(header.filter, kFilterBit, header.mipmap, kMipmapBit);
    return WriteBytes(fd, bytes, sizeof bytes);
}
