#include "platform/SettingsPreferences.h"

namespace ostinel {

SettingsPreferences::SettingsPreferences() : settings_(QSettings::NativeFormat, QSettings::UserScope, "Ostinel", "Ostinel") {}

SettingsPreferences::SettingsPreferences(const QString& iniPath) : settings_(iniPath, QSettings::IniFormat) {}

std::optional<PreferenceValue> SettingsPreferences::value(const std::string& key) const {
    QVariant v = settings_.value(QString::fromStdString(key));
    if (!v.isValid()) return std::nullopt;
    switch (v.typeId()) {
    case QMetaType::Bool:
        return v.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return std::int64_t(v.toLongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return v.toDouble();
    case QMetaType::QByteArray: {
        QByteArray b = v.toByteArray();
        return PreferenceBytes(b.begin(), b.end());
    }
    case QMetaType::QStringList: {
        std::vector<std::string> list;
        for (const QString& s : v.toStringList()) list.push_back(s.toStdString());
        return list;
    }
    default:
        return v.toString().toStdString();
    }
}

void SettingsPreferences::setValue(const std::string& key, const PreferenceValue& value) {
    QVariant v;
    if (auto* b = std::get_if<bool>(&value)) v = *b;
    else if (auto* i = std::get_if<std::int64_t>(&value)) v = qint64(*i);
    else if (auto* d = std::get_if<double>(&value)) v = *d;
    else if (auto* s = std::get_if<std::string>(&value)) v = QString::fromStdString(*s);
    else if (auto* l = std::get_if<std::vector<std::string>>(&value)) {
        QStringList list;
        for (const auto& s : *l) list << QString::fromStdString(s);
        v = list;
    } else if (auto* bytes = std::get_if<PreferenceBytes>(&value)) {
        v = QByteArray(reinterpret_cast<const char*>(bytes->data()), qsizetype(bytes->size()));
    }
    settings_.setValue(QString::fromStdString(key), v);
    settings_.sync();
}

void SettingsPreferences::remove(const std::string& key) {
    settings_.remove(QString::fromStdString(key));
    settings_.sync();
}

} // namespace ostinel
