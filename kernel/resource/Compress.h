// Compress: the plug-in family of stream coders, whose one member is "LZSS".
//
//   Ref<Compressor> coder;
//   if (PluginSystem::Create(coder, "LZSS", {}, kCompressGroup) != kPluginOk) ...
//
// A coder made so holds its plug-in type. Code that wants LZSS and no other coder may as well use
// LZSSCompress on the stack.

#pragma once

#include <memory>

#include "kernel/resource/Plugin.h"
#include "kernel/standard/Compressor.h"

namespace Zef {

inline constexpr Guid kCompressGroup = Guid::Parse("8DBDFEB0-52F4-4c1b-BA91-6A7B1CCC6D3E");
inline constexpr Guid kLZSSId = Guid::Parse("8DBDFEB1-52F4-4c1b-BA91-6A7B1CCC6D3E");

/// The factory of LZSS coders, registered as long as it lives.
std::unique_ptr<PluginType> MakeLZSSPlugin();

}  // namespace Zef
