#pragma once

#include <QTest>

#include <type_traits>

/// The table of a test's data function: `row("name", value, ...)` adds a row to columns of these
/// types.
template <typename... Values>
class DataRows
{
public:
    /// Names the columns.
    template <typename... Names>
    explicit DataRows(Names... names)
    {
        (QTest::addColumn<Values>(names), ...);
    }

    void operator()(const char *name, const std::type_identity_t<Values> &...values) const
    {
        (QTest::newRow(name) << ... << values);
    }
};
