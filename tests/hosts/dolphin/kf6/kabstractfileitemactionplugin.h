// As the public documentation of KDE Frameworks 6 declares it; for this test alone.
#pragma once

#include <QAction>
#include <QList>
#include <QObject>

class KFileItemListProperties;

class KAbstractFileItemActionPlugin : public QObject {
    Q_OBJECT
  public:
    explicit KAbstractFileItemActionPlugin(QObject* parent) : QObject(parent) {}
    ~KAbstractFileItemActionPlugin() override;
    virtual QList<QAction*> actions(const KFileItemListProperties& items, QWidget* parent) = 0;
  Q_SIGNALS:
    void error(const QString& message);
};
