#pragma once

#include <QTest>

#include <tuple>

namespace murlo {

/// The rows of a data-driven test, each with values of these types: calling it adds one.
template <typename... Types>
class Rows {
public:
    Rows() { QTest::addColumn<std::tuple<Types...>>("row"); }
    void operator()(const QByteArray& name, const Types&... values) const {
        QTest::newRow(name.constData()) << std::tuple<Types...>(values...);
    }
    /// A row whose last values are those of default construction.
    template <typename... Given>
    requires(sizeof...(Given) < sizeof...(Types)) void operator()(const QByteArray& name,
                                                                  const Given&... given) const {
        std::tuple<Types...> row;
        [&]<std::size_t... column>(std::index_sequence<column...>) {
            ((std::get<column>(row) = given), ...);
        }
        (std::index_sequence_for<Given...>());
        QTest::newRow(name.constData()) << row;
    }
};

/// The values of the row under test, in the order and with the types of its `Rows`.
template <typename... Types>
std::tuple<Types...> fetch() {
    return *static_cast<std::tuple<Types...>*>(
        QTest::qData("row", qMetaTypeId<std::tuple<Types...>>()));
}

} // namespace murlo
