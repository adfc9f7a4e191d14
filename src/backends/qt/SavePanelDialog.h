// The remote destination panel's window: the message, the jump bar, a line below it, OK and Cancel.
//
// The line says what the bar cannot: that the service is waited for or silent (it can then be asked again),
// that the chosen folder is a new one, or the path where the bar has no room for its names. Main thread only.
#pragma once

#include "panels/DestinationPurpose.h"
#include "panels/TSFPSavePanel.h"

#include <QDialog>
#include <QStringList>

class QLabel;
class QPushButton;

namespace backends::qt {

class JumpBarWidget;

class SavePanelDialog final : public QDialog, private panels::TSFPSavePanelView {
    Q_OBJECT
  public:
    struct Surroundings {
        panels::RemoteDirectories& directories;
        platform::Queue& mainQueue;
        platform::FileSystem& fileSystem;
        platform::ProcessLog& log;
    };
    // What is given outlives the window.
    explicit SavePanelDialog(const Surroundings& surroundings);
    ~SavePanelDialog() override;

    void setPurpose(panels::DestinationPurpose purpose); // the window and its OK button are named after it

    // To be configured before the window runs, and read after it.
    panels::TSFPSavePanel& panel() { return *logic; }

    int runModal(); // the response: 0 cancelled, else confirmed

    void reject() override; // Escape and the window's close button are Cancel

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void build();
    void showLine();
    void setMessage(const platform::DisplayText& text) override;
    void setChoice(const std::vector<std::string>& titles, bool isNew) override;
    void setServiceState(panels::ServiceState state) override;
    void setOkEnabled(bool enabled) override;
    void stopModalWithCode(int response) override;
    void close() override;

    QLabel* message = nullptr;
    JumpBarWidget* jumpBar = nullptr;
    QLabel* warning = nullptr;
    QLabel* line = nullptr;
    QPushButton* again = nullptr;
    QPushButton* ok = nullptr;
    QStringList chosen; // the titles from the root to the chosen folder
    bool isNew = false; // the chosen folder is still to be made
    panels::ServiceState service = panels::ServiceState::answers;
    std::unique_ptr<panels::TSFPSavePanel> logic;
};

} // namespace backends::qt
