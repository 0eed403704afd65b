#pragma once

#include <curl/curl.h>

namespace platform {

#define PLATFORM_LIBCURL_FUNCTIONS(use)                                                                   \
  use(global_init) use(easy_init) use(easy_cleanup) use(easy_setopt) use(easy_getinfo) use(easy_strerror) \
      use(slist_append) use(slist_free_all) use(multi_init) use(multi_setopt) use(multi_perform)          \
          use(multi_poll) use(multi_add_handle) use(multi_remove_handle) use(multi_info_read)

// What is called of libcurl, without its prefix. Where it is a shared library it is loaded, with the thirty
// that it needs, when the first request is to be sent: many processes that start never send one.
struct Libcurl {
#define PLATFORM_DECLARE(name) decltype(&curl_##name) name = nullptr;
  PLATFORM_LIBCURL_FUNCTIONS(PLATFORM_DECLARE)
#undef PLATFORM_DECLARE

  // Ready for use, and there for good. Null, and once a line of log, while it is not to be had; every call
  // tries again. Of the transfer thread alone.
  static const Libcurl* get();
};

}  // namespace platform
