// The variant wrapper.
#include <platform/bus/type/VariantHandler.h>

#include <platform/bus/Error.h>

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
  if (iterator.type() != Message::VARIANT)
    throw TypeMismatch("Read \"v\" where \"" + iterator.signature() + "\" stands");
  Message::ConstIterator inside = iterator.begin();
  handler.deserialize(inside, inside.signature());
}

std::string Wrapper<VariantHandler>::signature() const { return "v"; }

}  // namespace Quarnix::Bus::Type
