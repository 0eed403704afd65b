#include "platform/runtime/TypeName.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace platform {

std::string typeName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return status == 0 ? text.get() : type.name();
}

}  // namespace platform
