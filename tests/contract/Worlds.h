#pragma once

#include <QTest>

#include <memory>

namespace murlo {

/// What a contract's cases happen in: the port, and whatever stands at its other end. One kind has
/// the fake in it, another one the real adapter.
class ContractWorld {
public:
    ContractWorld() = default;
    ContractWorld(const ContractWorld&) = delete;
    ContractWorld& operator=(const ContractWorld&) = delete;
    virtual ~ContractWorld() = default;
};

/// One row of test data for each kind.
inline void addWorlds() {
    QTest::addColumn<bool>("real");
    QTest::newRow("fake") << false;
    QTest::newRow("real") << true;
}

/// The world of the current row, which is among a case's own data or those of all cases.
template <typename World, typename Fake, typename Real>
[[nodiscard]] std::unique_ptr<World> makeWorldOfRow(decltype(&QTest::qData) data = QTest::qData) {
    if (*static_cast<const bool*>(data("real", qMetaTypeId<bool>())))
        return std::make_unique<Real>();
    return std::make_unique<Fake>();
}

} // namespace murlo
