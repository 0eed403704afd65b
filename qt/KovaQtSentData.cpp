#include "qt/KovaQtSentData.h"

#include <QDialog>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QVBoxLayout>

#include "platform/qt/QtTree.h"

using namespace platform;

namespace kovaqt {

namespace {

QString textOf(const SentData::Request& request) {
  QString text = QString::fromStdString(request.head);
  if (request.body) text += QLatin1String("\n\n") + QString::fromStdString(*request.body);
  return text;
}

QString lineOf(const SentData::Request& request) {
  const QString head = QString::fromStdString(request.head.substr(0, request.head.find('?')));
  return QStringLiteral("%1  %2  %3 bytes")
      .arg(request.time.toString(QStringLiteral("hh:mm:ss")), head, QString::number(request.size));
}

// The list, and below it what the chosen request consists of.
QWidget* viewOf(const std::deque<SentData::Request>& requests) {
  auto* const halves = new QSplitter(Qt::Vertical);
  auto* const list = new QListWidget(halves);
  auto* const whole = new QPlainTextEdit(halves);
  whole->setReadOnly(true);
  for (const SentData::Request& request : requests) list->addItem(lineOf(request));
  QObject::connect(list, &QListWidget::currentRowChanged, whole, [whole, requests](int row) {
    whole->setPlainText(row < 0 ? QString() : textOf(requests[std::size_t(row)]));
  });
  list->setCurrentRow(list->count() - 1);
  return halves;
}

}  // namespace

SentData& SentData::shared() {
  static SentData& data = *new SentData;
  return data;
}

std::size_t SentData::keptBytes(const Request& request) {
  return request.head.size() + (request.body ? request.body->size() : 0);
}

void SentData::add(const NSURLRequest& sent) {
  Request request{QDateTime::currentDateTime(), sent.httpMethod() + " " + sent.url().absoluteString(),
                  sent.httpBody()};
  request.size = keptBytes(request);
  if (request.size > kMostBytes) request.body = nullptr;
  const MutexLock lock(mutex_);
  bytes_ += keptBytes(request);
  requests_.push_back(std::move(request));
  while (requests_.size() > kMostRequests || bytes_ > kMostBytes) {
    bytes_ -= keptBytes(requests_.front());
    requests_.pop_front();
  }
}

void SentData::clear() {
  const MutexLock lock(mutex_);
  requests_.clear();
  bytes_ = 0;
}

std::deque<SentData::Request> SentData::requests() const {
  const MutexLock lock(mutex_);
  return requests_;
}

void showSentData(QWidget* parent) {
  auto* const dialog = new QDialog(parent);
  markAsOwn(*dialog);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setAttribute(Qt::WA_QuitOnClose, false);
  dialog->setWindowTitle(QStringLiteral("Sent data"));
  dialog->resize(700, 500);
  const auto requests = SentData::shared().requests();
  auto* const layout = new QVBoxLayout(dialog);
  layout->addWidget(new QLabel(requests.empty()
                                   ? QStringLiteral("Nothing was sent since the program started.")
                                   : QStringLiteral("Sent since the program started:")));
  if (!requests.empty()) layout->addWidget(viewOf(requests), 1);
  dialog->show();
}

}  // namespace kovaqt
