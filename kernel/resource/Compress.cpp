#include "kernel/resource/Compress.h"

#include "kernel/standard/LZSSCompress.h"

namespace Zef {

namespace {

class LZSSInstance final : public LZSSCompress, public PluginInstance {
 public:
  explicit LZSSInstance(PluginType& type) : PluginInstance(type) {}
};

class LZSSFactory final : public PluginFactoryBase<Compressor> {
 public:
  LZSSFactory() : PluginFactoryBase("LZSS", kLZSSId, kCompressGroup) {}
  Ref<Compressor> Create() override { return Ref<Compressor>(new LZSSInstance(*this)); }
};

}  // namespace

std::unique_ptr<PluginType> MakeLZSSPlugin() { return std::make_unique<LZSSFactory>(); }

}  // namespace Zef
