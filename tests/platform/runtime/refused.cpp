// What NS_OBJECT does not let through, a case a number; 0 is what it does.

#include "platform/runtime/NSObject.h"

using platform::NSObject;

class Screen : public NSObject {
  NS_OBJECT(Screen, NSObject)
};
class Shop : public Screen {
  NS_OBJECT(Shop, Screen)
};
class Bare : public Screen {};

#if CASE == 0
class Detail : public Shop {
  NS_OBJECT(Detail, Shop)
};
template <class T>
class Row : public Screen {
  NS_OBJECT(Row, Screen)
};
template class Row<int>;
#elif CASE == 1  // copied from another class
class Copied : public Screen {
  NS_OBJECT(Shop, Screen)
};
#elif CASE == 2  // no class above it
class Detail : public Screen {
  NS_OBJECT(Detail, Shop)
};
#elif CASE == 3  // not the nearest
class Detail : public Shop {
  NS_OBJECT(Detail, Screen)
};
#elif CASE == 4  // below a class that forgot it
class Detail : public Bare {
  NS_OBJECT(Detail, Bare)
};
#endif
