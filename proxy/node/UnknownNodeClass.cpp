// The error for a node class without a record.
#include <cstdio>
#include <cstring>

#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy::Node {

Manager::UnknownNodeClass::~UnknownNodeClass() = default;

const char* Manager::UnknownNodeClass::getId() const {
  return "com.quarnix.Trellium.Application.Hevra.Proxy.Node.Manager.UnknownNodeClass";
}

int Manager::UnknownNodeClass::serialize(char* buffer, unsigned short size) const {
  if (std::snprintf(buffer, size, "%s : %u", getId(), unsigned{nodeClass_}) < 0) return -1;
  return static_cast<int>(std::strlen(buffer));
}

}  // namespace Quarnix::Hevra::Proxy::Node
