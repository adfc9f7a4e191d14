// As the public documentation of KDE Frameworks 6 declares it; for this test alone.
#pragma once

#include <QObject>
#include <QStringList>
#include <QUrl>

class KOverlayIconPlugin : public QObject {
    Q_OBJECT
  public:
    explicit KOverlayIconPlugin(QObject* parent = nullptr) : QObject(parent) {}
    ~KOverlayIconPlugin() override;
    virtual QStringList getOverlays(const QUrl& item) = 0;
  Q_SIGNALS:
    void overlaysChanged(const QUrl& url, const QStringList& overlays);
};
