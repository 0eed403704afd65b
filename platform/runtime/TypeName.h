#pragma once

#include <string>
#include <typeinfo>

namespace platform {

// The name of a C++ type as its author wrote it, with its namespaces.
std::string typeName(const std::type_info& type);

}  // namespace platform
