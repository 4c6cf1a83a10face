// Data rows for seeded random tests: one row per seed 1..count, or only the
// seed named by KQ_RANDOMOPS_SEED when it is set (to replay a failure).
#pragma once

#include <QtTest>

namespace testsupport {

inline void addSeedRows(quint32 count)
{
    QTest::addColumn<quint32>("seed");
    bool ok = false;
    const quint32 chosen = qEnvironmentVariable("KQ_RANDOMOPS_SEED").toUInt(&ok);
    if (ok) {
        QTest::addRow("seed %u", chosen) << chosen;
        return;
    }
    for (quint32 seed = 1; seed <= count; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

} // namespace testsupport
