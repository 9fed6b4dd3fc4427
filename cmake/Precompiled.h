// What nearly every file includes anyway; nothing may rely on it being here.
#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <cmath>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <tl/expected.hpp>
#include <utility>
#include <vector>
