// As the public documentation of KDE Frameworks 6 declares it, as far as the plugin asks; for this test
// alone.
#pragma once

#include <QObject>
#include <QVariantList>

class KPluginFactory : public QObject {
    Q_OBJECT
  public:
    ~KPluginFactory() override;
    template <typename Plugin>
    Plugin* create(QObject* parent) {
        return qobject_cast<Plugin*>(make(parent));
    }

  private:
    virtual QObject* make(QObject* parent) = 0;
};

#define K_PLUGIN_CLASS_WITH_JSON(Type, json)                                                                 \
    class Type##Factory : public KPluginFactory {                                                            \
        Q_OBJECT                                                                                             \
        Q_PLUGIN_METADATA(IID "org.kde.KPluginFactory" FILE json)                                            \
        QObject* make(QObject* parent) override { return new Type(parent, {}); }                             \
    };
