#include "backends/qt/SavePanelDialog.h"

#include "backends/qt/JumpBarWidget.h"
#include "backends/qt/texts.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace backends::qt {
namespace {

constexpr int windowWidth = 480;

} // namespace

SavePanelDialog::SavePanelDialog(panels::RemoteDirectories& directories, platform::Queue& mainQueue,
                                 platform::FileSystem& fileSystem, platform::ProcessLog& log) {
    setObjectName(QStringLiteral("TSFPSavePanel"));

    message = new QLabel(this);
    message->setObjectName(QStringLiteral("message"));
    message->setTextFormat(Qt::PlainText);
    message->setWordWrap(true);
    jumpBar = new JumpBarWidget(this);
    auto* buttons = new QDialogButtonBox(this);
    ok = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    ok->setObjectName(QStringLiteral("ok"));
    ok->setDefault(true);
    QPushButton* cancel = buttons->addButton(shown("Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("cancel"));
    cancel->setAutoDefault(false); // Enter is OK, also while OK is still disabled

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(16);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->addWidget(message);
    layout->addWidget(jumpBar);
    layout->addStretch();
    layout->addWidget(buttons);
    setCommand(DestinationCommand::archive);
    resize(windowWidth, sizeHint().height());

    logic = std::make_unique<panels::TSFPSavePanel>(
        panels::TSFPSavePanel::Surroundings{*this, jumpBar->bar(), directories, mainQueue, fileSystem, log});
    connect(ok, &QPushButton::clicked, this, [this] { logic->okClicked(); });
    connect(cancel, &QPushButton::clicked, this, [this] { logic->cancelClicked(); });
}

SavePanelDialog::~SavePanelDialog() = default;

int SavePanelDialog::runModal() {
    logic->awakeFromNib();
    jumpBar->focusLabel(1);
    return exec();
}

void SavePanelDialog::setCommand(DestinationCommand command) {
    const char* title = "Choose a Destination";
    const char* confirmation = "OK";
    switch (command) {
    case DestinationCommand::sync:
        title = confirmation = "Start sync";
        break;
    case DestinationCommand::move:
        title = "Move to Space";
        confirmation = "Move";
        break;
    case DestinationCommand::copy:
        title = "Copy to Space";
        confirmation = "Copy";
        break;
    case DestinationCommand::archive:
        break;
    }
    setWindowTitle(shown(title));
    ok->setText(shown(confirmation));
}

void SavePanelDialog::reject() { logic->cancelClicked(); }

void SavePanelDialog::setMessage(const platform::DisplayText& text) {
    message->setText(shown(breakable(text)));
    message->setAccessibleName(shown(text));
    // A label that wraps does not make its window grow.
    message->setMinimumHeight(message->heightForWidth(windowWidth - 40));
}

void SavePanelDialog::setOkEnabled(bool enabled) { ok->setEnabled(enabled); }
void SavePanelDialog::stopModalWithCode(int response) { done(response); }
void SavePanelDialog::close() { hide(); }

} // namespace backends::qt
