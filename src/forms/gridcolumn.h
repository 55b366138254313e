#pragma once
// The forms name their grids' columns by enum classes (ListCol, SignCol, ...); col() gives the grid's
// column number of one.

#include <type_traits>

namespace agr {

template <class Column>
requires std::is_enum_v<Column>
constexpr int col(Column column)
{
    return static_cast<int>(column);
}

} // namespace agr
