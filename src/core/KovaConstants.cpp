// Each text of the header, as a symbol of the library.
#define KOVA_CONSTANT_TEXT_(name, text)           \
  KOVA_EXPORT extern const std::string_view name; \
  constinit const std::string_view name = text;

#include <Kova/KovaConstants.h>

extern "C" {
const double KovaVersionNumber = 1.0;
const unsigned char KovaVersionString[] = "@(#)PROGRAM:Kova  PROJECT:Kova-1\n";
}
