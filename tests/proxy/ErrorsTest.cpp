// The names under which the library's errors are known.
#include <gtest/gtest.h>

#include <bus/HvTypeVariantHandler.h>
#include <proxy/BadSignatureOnBus.h>
#include <proxy/command/CommandContainerList.h>

namespace Quarnix {
namespace {

void expectName(const Exception& error, const std::string& name) {
  EXPECT_EQ(error.getId(), "com.quarnix.Trellium.Application.Hevra." + name);
  EXPECT_EQ(error.what(), "com.quarnix.Trellium.Application.Hevra." + name);
}

TEST(Errors, ReadAsTheirNames) {
  using Handler = Bus::Type::HvTypeVariantHandler;
  expectName(Handler::UnknownTypeForSignature(), "HvType.UnknownTypeForSignature");
  expectName(Handler::UnknownTypeForSerialization(), "HvType.UnknownTypeForSerialization");
  expectName(Hevra::Proxy::CommandContainerList::BadUse(), "Proxy.Command.Container.BadUse");
  expectName(Hevra::Proxy::BadSignatureOnBus(), "Manager.State.Error.BadSignatureOnBus");
}

}  // namespace
}  // namespace Quarnix
