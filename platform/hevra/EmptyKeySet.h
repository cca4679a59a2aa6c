// The error of setting a key of zeros.
#pragma once

#include <platform/core/shared/Pointer.h>
#include <platform/hevra/ApplicationException.h>
#include <platform/hevra/StackNode.h>

namespace Quarnix::Hevra {

/// Raised where an empty key (StackNode::isKeyEmpty) is to be set. Its category is 0.
class HEVRA_EXPORT EmptyKeySet : public ApplicationException {
 public:
  explicit EmptyKeySet(const Shared::Pointer<StackNode>& stackNode) : ApplicationException(0), stackNode_(stackNode) {}
  ~EmptyKeySet() override;
  const char* getId() const override;

  /// The stack node whose key it was; empty where only its address is known, as at a proxy.
  const Shared::Pointer<StackNode>& getStackNode() const noexcept { return stackNode_; }

 private:
  Shared::Pointer<StackNode> stackNode_;
};

}  // namespace Quarnix::Hevra
