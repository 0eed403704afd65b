#include "qt/KovaQtValues.h"

#include <QAssociativeIterable>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QSequentialIterable>
#include <QUrl>

using namespace platform;

namespace kovaqt {

namespace {

Value valueOf(const QVariant& variant);

String stringOf(const QString& text) { return String(text.toStdString()); }

Value arrayOf(const QVariant& list) {
  std::vector<Value> values;
  for (const QVariant& each : list.value<QSequentialIterable>()) values.push_back(valueOf(each));
  return Array(std::move(values));
}

Value dateOf(const QDateTime& date) {
  if (!date.isValid()) return Value();
  return NSDate::withTimeIntervalSince1970(static_cast<double>(date.toMSecsSinceEpoch()) / 1000);
}

// Of a kind that holds others, or that has no more than a text.
Value valueOfOther(const QVariant& variant) {
  if (variant.canConvert<QVariantMap>() || variant.canConvert<QVariantHash>()) {
    MutableDictionary entries;
    const auto pairs = variant.value<QAssociativeIterable>();
    for (auto each = pairs.begin(); each != pairs.end(); ++each) {
      entries.append(stringOf(each.key().toString()), valueOf(each.value()));
    }
    return Dictionary(std::move(entries));
  }
  const bool isText = variant.typeId() == QMetaType::QString || variant.typeId() == QMetaType::QByteArray;
  if (!isText && variant.canConvert<QVariantList>()) return arrayOf(variant);
  return stringOf(variant.toString());
}

Value valueOf(const QVariant& variant) {
  switch (variant.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
      return Value();
    case QMetaType::Bool:
      return variant.toBool();
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
      return static_cast<std::int64_t>(variant.toLongLong());
    case QMetaType::ULong:
    case QMetaType::ULongLong:
      return static_cast<std::uint64_t>(variant.toULongLong());
    case QMetaType::Float:
      return variant.toFloat();
    case QMetaType::Double:
      return variant.toDouble();
    case QMetaType::QDateTime:
      return dateOf(variant.toDateTime());
    case QMetaType::QUrl:
      return stringOf(variant.toUrl().toString(QUrl::FullyEncoded));
    case QMetaType::QJsonValue:
      return valueOf(variant.toJsonValue().toVariant());
    case QMetaType::QJsonObject:
      return valueOf(variant.toJsonObject().toVariantMap());
    case QMetaType::QJsonArray:
      return valueOf(variant.toJsonArray().toVariantList());
    default:
      return valueOfOther(variant);
  }
}

}  // namespace

Dictionary dictionaryOf(const QVariantMap& map) { return valueOf(QVariant(map)).dictionary(); }

}  // namespace kovaqt
