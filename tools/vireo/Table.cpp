#include "Table.h"

#include <algorithm>

namespace VireoTool {

void Table::Print(std::ostream& out) const {
    std::vector<size_t> widths(m_header.size(), 0);
    auto measure = [&](const std::vector<std::string>& row) {
        for (size_t column = 0; column < row.size() && column < widths.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    };
    measure(m_header);
    for (const auto& row : m_rows) measure(row);

    auto print = [&](const std::vector<std::string>& row) {
        std::string line;
        for (size_t column = 0; column < row.size() && column < widths.size(); ++column) {
            if (column > 0) line.append(2, ' ');
            line += row[column];
            if (column + 1 < row.size()) line.append(widths[column] - row[column].size(), ' ');
        }
        while (!line.empty() && line.back() == ' ') line.pop_back();
        out << line << '\n';
    };
    print(m_header);
    for (const auto& row : m_rows) print(row);
}

} // namespace VireoTool
