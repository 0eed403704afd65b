#include "platform/net/internal/Libcurl.h"

#include "platform/foundation/SeparatePart.h"

namespace platform {
namespace {

#ifdef PLATFORM_LIBCURL
SeparateLibrary& library() {
  static auto& instance = *new SeparateLibrary(PLATFORM_LIBCURL);
  return instance;
}

template <class Function>
bool find(const char* name, Function& function) {
  function = reinterpret_cast<Function>(library().find(name));
  return function;
}
#define PLATFORM_FIND(name) &&find("curl_" #name, libcurl.name)
#else
#define PLATFORM_FIND(name) &&(libcurl.name = &curl_##name)
#endif

bool load(Libcurl& libcurl) {
  return true PLATFORM_LIBCURL_FUNCTIONS(PLATFORM_FIND) &&
         libcurl.global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
}

}  // namespace

const Libcurl* Libcurl::get() {
  static Libcurl libcurl;
  static bool isLoaded = false;
  isLoaded = isLoaded || load(libcurl);
  return isLoaded ? &libcurl : nullptr;
}

}  // namespace platform
