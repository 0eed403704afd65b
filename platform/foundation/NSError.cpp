#include "platform/foundation/NSError.h"

namespace platform {

std::string NSError::localizedDescription() const {
  if (const Value* text = userInfo_.find(NSLocalizedDescriptionKey)) return text->description();
  return "The operation couldn’t be completed. (" + domain_ + " error " + std::to_string(code_) + ".)";
}

std::string NSError::description() const {
  return "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" + localizedDescription() + "\"";
}

}  // namespace platform
