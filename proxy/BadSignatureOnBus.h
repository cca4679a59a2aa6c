// The error for an element of a reply that is no node record.
#pragma once

#include <platform/core/Exception.h>

namespace Quarnix::Hevra::Proxy {

/// The node manager raises it if an element of a list of nodes has none of the four signatures of node records.
class HEVRA_EXPORT BadSignatureOnBus : public Quarnix::Exception {
 public:
  BadSignatureOnBus() = default;
  ~BadSignatureOnBus() override;
  const char* getId() const override;
};

}  // namespace Quarnix::Hevra::Proxy
