// A small program written with Qt that uses Kova: it asks for consent, records events and who is signed in,
// and keeps private what its user writes.
//
//   notes [--capture-url URL]

#include <Kova/KovaQt.h>

#include <QApplication>
#include <QCheckBox>
#include <QCommandLineParser>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>

namespace {

constexpr const char* kAgreed = "usage/agreed";

class NotesWindow final : public QMainWindow {
 public:
  NotesWindow() {
    setWindowTitle("Notes");
    auto* const middle = new QWidget;
    auto* const rows = new QFormLayout(middle);
    makeConsent(*rows);
    makeUser(*rows);
    makeNotes(*rows);
    setCentralWidget(middle);
    setFixedSize(560, 420);
  }

 private:
  QPushButton* button(const QString& text, const QString& name, void (NotesWindow::*slot)()) {
    auto* const made = new QPushButton(text);
    made->setObjectName(name);
    connect(made, &QPushButton::clicked, this, slot);
    return made;
  }

  void makeConsent(QFormLayout& rows) {
    auto* const agreed = new QCheckBox("Tell the makers of Notes what is used");
    agreed->setObjectName("agreed");
    agreed->setChecked(QSettings().value(kAgreed, false).toBool());
    connect(agreed, &QCheckBox::toggled, this, [](bool given) {
      QSettings().setValue(kAgreed, given);
      KovaQt::setConsent(given);
    });
    rows.addRow(agreed);
    rows.addRow(button("What was told…", "sent", &NotesWindow::showSent));
  }

  void makeUser(QFormLayout& rows) {
    user_ = new QLineEdit;
    user_->setObjectName("user");
    rows.addRow("E-mail", user_);
    rows.addRow(button("Sign in", "signIn", &NotesWindow::signIn));
    // Whose notes these are is told by identify() alone.
    owner_ = new QLabel("Nobody's notes");
    owner_->setObjectName("owner");
    owner_->setProperty("kovaRedactText", true);
    rows.addRow(owner_);
  }

  void makeNotes(QFormLayout& rows) {
    notes_ = new QListWidget;  // its rows are told as "****"
    notes_->setObjectName("notes");
    rows.addRow(notes_);
    text_ = new QPlainTextEdit;
    text_->setProperty("kovaIgnore", true);  // not even that something was written
    rows.addRow(text_);
    rows.addRow(button("New", "new", &NotesWindow::addNote),
                button("Export", "export", &NotesWindow::exportNotes));
  }

  void showSent() { KovaQt::showSentData(this); }

  void signIn() {
    if (user_->text().isEmpty()) return;
    KovaQt::identify(user_->text());
    KovaQt::addUserProperties({{"plan", "free"}});
    owner_->setText("Notes of " + user_->text());
  }

  void addNote() {
    notes_->addItem(text_->toPlainText().section('\n', 0, 0).left(40));
    text_->clear();
    KovaQt::track("Note added", {{"notes", notes_->count()}});
  }

  void exportNotes() { KovaQt::track("Export", {{"format", "text"}, {"notes", notes_->count()}}); }

  QLineEdit* user_ = nullptr;
  QLabel* owner_ = nullptr;
  QListWidget* notes_ = nullptr;
  QPlainTextEdit* text_ = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName("Notes");
  QApplication::setOrganizationDomain("example.com");
  QApplication::setApplicationVersion("2.1");

  QCommandLineParser line;
  line.addHelpOption();
  line.addOption({"capture-url", "Where Kova sends everything.", "URL", "http://127.0.0.1:8080"});
  line.process(app);

  KovaQtOptions options;
  options.captureUrl = QUrl(line.value("capture-url"));
  options.uploadInterval = 1;
  options.consent = [] { return QSettings().value(kAgreed, false).toBool(); };
  KovaQt::start("11", options);  // before the first window is shown

  NotesWindow window;
  window.show();
  return QApplication::exec();
}
