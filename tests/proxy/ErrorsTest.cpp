// The names under which the library's errors are known.
#include <gtest/gtest.h>

#include <bus/HvTypeVariantHandler.h>
#include <proxy/BadSignatureOnBus.h>
#include <proxy/command/CommandContainerList.h>

namespace Quarnix {
namespace {

template <class Error>
void expectName(const std::string& name) {
  try {
    throw Error();
  } catch (const Exception& error) {
    EXPECT_EQ(error.getId(), name);
    EXPECT_EQ(error.what(), name);
  }
}

TEST(Errors, ReadAsTheirNames) {
  const std::string family = "com.quarnix.Trellium.Application.Hevra.";
  expectName<Bus::Type::HvTypeVariantHandler::UnknownTypeForSignature>(family + "HvType.UnknownTypeForSignature");
  expectName<Bus::Type::HvTypeVariantHandler::UnknownTypeForSerialization>(family +
                                                                           "HvType.UnknownTypeForSerialization");
  expectName<Hevra::Proxy::CommandContainerList::BadUse>(family + "Proxy.Command.Container.BadUse");
  expectName<Hevra::Proxy::BadSignatureOnBus>(family + "Manager.State.Error.BadSignatureOnBus");
}

}  // namespace
}  // namespace Quarnix
