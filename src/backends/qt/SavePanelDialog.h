// The remote destination panel's window: the message, the jump bar, OK and Cancel. Main thread only.
#pragma once

#include "panels/TSFPSavePanel.h"

#include <QDialog>

class QLabel;
class QPushButton;

namespace backends::qt {

class JumpBarWidget;

// What the person chose in the menu; the window and its OK button are named after it.
enum class DestinationCommand { sync, move, copy, archive /* one of the last two, it is not known which */ };

class SavePanelDialog final : public QDialog, private panels::TSFPSavePanelView {
    Q_OBJECT
  public:
    // What is given outlives the window.
    SavePanelDialog(panels::RemoteDirectories& directories, platform::Queue& mainQueue,
                    platform::FileSystem& fileSystem, platform::ProcessLog& log);
    ~SavePanelDialog() override;

    void setCommand(DestinationCommand command);

    // To be configured before the window runs, and read after it.
    panels::TSFPSavePanel& panel() { return *logic; }

    int runModal(); // the response: 0 cancelled, else confirmed

    void reject() override; // Escape and the window's close button are Cancel

  private:
    void setMessage(const platform::DisplayText& text) override;
    void setOkEnabled(bool enabled) override;
    void stopModalWithCode(int response) override;
    void close() override;

    QLabel* message = nullptr;
    JumpBarWidget* jumpBar = nullptr;
    QPushButton* ok = nullptr;
    std::unique_ptr<panels::TSFPSavePanel> logic;
};

} // namespace backends::qt
