#ifndef ZELCONFIG_TESTS_ROWNAME_H
#define ZELCONFIG_TESTS_ROWNAME_H

#include <string>

#include <gtest/gtest.h>

// Names each test of a table after its row's `name` field.
struct RowName
{
    template <class Row>
    std::string operator()(const testing::TestParamInfo<Row>& row) const
    {
        return row.param.name;
    }
};

#endif
