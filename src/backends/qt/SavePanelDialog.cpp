#include "backends/qt/SavePanelDialog.h"

#include "backends/qt/JumpBarWidget.h"
#include "backends/qt/drawing.h"
#include "backends/qt/mnemonics.h"
#include "backends/qt/texts.h"

#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace backends::qt {

using panels::DestinationPurpose;

namespace {

constexpr double windowWidth = 480; // points
constexpr double margin = 20;
constexpr int longestMessage = 6; // lines of a path; a longer one is shown without its middle

} // namespace

SavePanelDialog::SavePanelDialog(const Surroundings& surroundings) {
    build();
    logic = std::make_unique<panels::TSFPSavePanel>(panels::TSFPSavePanel::Surroundings{
        *this, jumpBar->bar(), surroundings.directories, surroundings.mainQueue, surroundings.fileSystem,
        surroundings.log});
    connect(ok, &QPushButton::clicked, this, [this] { logic->okClicked(); });
    connect(again, &QPushButton::clicked, this, [this] {
        jumpBar->focusLastLabel(); // the button goes
        logic->askAgain();
    });
}

SavePanelDialog::~SavePanelDialog() = default;

void SavePanelDialog::build() {
    setObjectName(QStringLiteral("TSFPSavePanel"));
    message = new QLabel(this);
    message->setObjectName(QStringLiteral("message"));
    message->setTextFormat(Qt::PlainText);
    message->setWordWrap(true);
    jumpBar = new JumpBarWidget(this);

    warning = new QLabel(this);
    const int icon = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    warning->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning, nullptr, this).pixmap(icon));
    line = new QLabel(this);
    line->setObjectName(QStringLiteral("line"));
    line->setTextFormat(Qt::PlainText);
    line->setSizePolicy(QSizePolicy::Ignored,
                        QSizePolicy::Preferred); // it is cut to the window, not the reverse
    again = new QPushButton(shown("Try again"), this);
    again->setObjectName(QStringLiteral("again"));
    auto* below = new QHBoxLayout;
    below->addWidget(warning);
    below->addWidget(line, 1);
    below->addWidget(again);
    below->addStrut(again->sizeHint().height()); // the window stays as it is when the button comes

    auto* buttons = new QDialogButtonBox(this);
    ok = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    ok->setObjectName(QStringLiteral("ok"));
    ok->setDefault(true);
    QPushButton* cancel = buttons->addButton(shown("Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("cancel"));
    connect(cancel, &QPushButton::clicked, this, [this] { logic->cancelClicked(); });

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(pixels(6));
    layout->setContentsMargins(pixels(margin), pixels(margin), pixels(margin), pixels(16));
    layout->addWidget(message);
    layout->addSpacing(pixels(8));
    layout->addWidget(jumpBar);
    layout->addLayout(below);
    layout->addStretch();
    layout->addWidget(buttons);
    setPurpose(DestinationPurpose::archive);
    showLine();
    resize(pixels(windowWidth), sizeHint().height());
}

int SavePanelDialog::runModal() {
    giveMnemonics(*this);
    logic->awakeFromNib();
    jumpBar->focusLastLabel();
    // What was left to the main queue, such as the message, is done before the window is shown: a window that
    // grows before the window manager has placed it would ask to stay where it was made, in the corner of the
    // screen.
    QCoreApplication::sendPostedEvents(QCoreApplication::instance(), QEvent::MetaCall);
    return exec();
}

void SavePanelDialog::setPurpose(DestinationPurpose purpose) {
    const char* title = "Choose a Destination";
    const char* confirmation = "OK";
    switch (purpose) {
    case DestinationPurpose::sync:
        title = confirmation = "Start sync";
        break;
    case DestinationPurpose::move:
        title = "Move to Space";
        confirmation = "Move";
        break;
    case DestinationPurpose::copy:
        title = "Copy to Space";
        confirmation = "Copy";
        break;
    case DestinationPurpose::archive:
        break;
    }
    setWindowTitle(shown(title));
    ok->setText(shown(confirmation));
}

void SavePanelDialog::reject() { logic->cancelClicked(); }

void SavePanelDialog::setMessage(const platform::DisplayText& text) {
    const int width = pixels(windowWidth - 2 * margin);
    platform::DisplayText cut = text;
    for (std::string& argument : cut.arguments)
        argument = message->fontMetrics()
                       .elidedText(QString::fromStdString(argument), Qt::ElideMiddle, longestMessage * width)
                       .toStdString();
    message->setText(shown(breakable(cut)));
    message->setAccessibleName(shown(text));
    // A label that wraps does not make its window grow.
    message->setMinimumHeight(message->heightForWidth(width));
}

void SavePanelDialog::setChoice(const std::vector<std::string>& titles, bool isNewFolder) {
    chosen.clear();
    for (const std::string& title : titles)
        chosen.append(QString::fromStdString(title));
    isNew = isNewFolder;
    showLine();
}

void SavePanelDialog::setServiceState(panels::ServiceState state) {
    service = state;
    showLine();
}

void SavePanelDialog::showLine() {
    const bool isSilent = service == panels::ServiceState::silent;
    warning->setVisible(isSilent);
    again->setVisible(isSilent);
    layout()->activate(); // gives the line its width
    const QString path = pathOf(chosen);
    const auto newFolder = [](const QString& place) {
        return shown(platform::DisplayText{"New folder: %@", {place.toStdString()}});
    };
    QString whole;
    QString cut;
    if (service != panels::ServiceState::answers) {
        whole = cut = shown(isSilent ? panels::noAnswerTitle : "Waiting for the sync service…");
    } else if (isNew) {
        whole = newFolder(path);
        const int room = line->width() - line->fontMetrics().horizontalAdvance(newFolder({}));
        cut = newFolder(pathInWidth(chosen, line->fontMetrics(), room));
    } else if (jumpBar->bar().isUnderIdealWidth()) {
        whole = path;
        cut = pathInWidth(chosen, line->fontMetrics(), line->width());
    }
    line->setText(cut);
    line->setToolTip(cut == whole ? QString() : toolTipOf(whole));
    line->setAccessibleName(whole);
}

void SavePanelDialog::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    showLine();
}

void SavePanelDialog::setOkEnabled(bool enabled) { ok->setEnabled(enabled); }
void SavePanelDialog::stopModalWithCode(int response) { done(response); }
void SavePanelDialog::close() { hide(); }

} // namespace backends::qt
