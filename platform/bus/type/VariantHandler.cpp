// The variant wrapper.
#include <platform/bus/type/VariantHandler.h>

namespace Quarnix::Bus::Type {

VariantHandler::~VariantHandler() = default;
Wrapper<VariantHandler>::~Wrapper() = default;

void Wrapper<VariantHandler>::serialize(Message::Iterator& iterator, const VariantHandler& handler) const {
  const std::string contents = handler.signature();
  Message::Iterator inside = iterator.begin(Message::VARIANT, contents.c_str());
  handler.serialize(inside);
  iterator.end(inside);
}

void Wrapper<VariantHandler>::deserialize(Message::ConstIterator& iterator, VariantHandler& handler) const {
  Message::ConstIterator inside = iterator.getVariant();
  handler.deserialize(inside, inside.signature());
}

std::string Wrapper<VariantHandler>::signature() const { return std::string(Message::ANY_VALUE); }

}  // namespace Quarnix::Bus::Type
