// Text tables with columns aligned to their widest cell, for terminals and for scripts that
// split on runs of spaces.
#ifndef VIREO_TOOL_TABLE_H
#define VIREO_TOOL_TABLE_H

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace VireoTool {

class Table {
public:
    explicit Table(std::vector<std::string> header) : m_header(std::move(header)) {}

    // A row with as many cells as the header has columns.
    void AddRow(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }
    size_t RowCount() const { return m_rows.size(); }
    void RemoveRowsFrom(size_t index) { m_rows.resize(index); }

    // The header and the rows; two spaces between columns, no trailing spaces.
    void Print(std::ostream& out) const;

private:
    std::vector<std::string> m_header;
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace VireoTool

#endif
