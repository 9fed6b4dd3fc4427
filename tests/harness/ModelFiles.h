#pragma once

#include <QByteArray>
#include <QtEndian>

namespace murlo {

/// A speech model in whisper.cpp's format, of about so many bytes, with nothing in it but `filler`:
/// two such models differ in every number of their one tensor.
[[nodiscard]] inline QByteArray tinyModel(int bytes, char filler) {
    QByteArray model = "lmgg";
    const auto number = [&model](qint32 value) {
        value = qToLittleEndian(value);
        model.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    for (int i = 0; i < 11; ++i) number(i);
    for (const qint32 side : {2, 3}) number(side); // mel filters
    model.append(2 * 3 * 4, '\0');
    number(1); // vocabulary
    number(5);
    model.append("hello");
    constexpr int block = 22; // bytes of 32 numbers in q5_0
    const int blocks = bytes / block;
    for (const qint32 value : {2, 4, 6, 32, blocks}) number(value);
    model.append("name").append(blocks * block, filler);
    return model;
}

} // namespace murlo
