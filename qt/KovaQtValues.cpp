#include "qt/KovaQtValues.h"

#include <QDateTime>

using namespace platform;

namespace kovaqt {

namespace {

Value valueOf(const QVariant& variant);

Value arrayOf(const QVariantList& list) {
  std::vector<Value> values;
  for (const QVariant& each : list) values.push_back(valueOf(each));
  return Array(std::move(values));
}

Value textOf(const QVariant& variant) { return String(variant.toString().toStdString()); }

Value valueOf(const QVariant& variant) {
  switch (variant.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
      return Value();
    case QMetaType::Bool:
      return variant.toBool();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
      return static_cast<std::int64_t>(variant.toLongLong());
    case QMetaType::Double:
    case QMetaType::Float:
      return variant.toDouble();
    case QMetaType::QDateTime:
      return NSDate::withTimeIntervalSince1970(static_cast<double>(variant.toDateTime().toMSecsSinceEpoch()) /
                                               1000);
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
      return arrayOf(variant.toList());
    case QMetaType::QVariantMap:
      return dictionaryOf(variant.toMap());
    default:
      return textOf(variant);
  }
}

}  // namespace

Dictionary dictionaryOf(const QVariantMap& map) {
  MutableDictionary entries;
  for (auto entry = map.begin(); entry != map.end(); ++entry) {
    entries.append(String(entry.key().toStdString()), valueOf(entry.value()));
  }
  return Dictionary(std::move(entries));
}

}  // namespace kovaqt
