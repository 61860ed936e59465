#include "vqlog/table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vqlog {

Table::Table(std::vector<std::string> titles) {
    _rows.push_back(std::move(titles));
}

void Table::add(std::vector<std::string> row) {
    row.resize(_rows.front().size());
    _rows.push_back(std::move(row));
}

void Table::write(std::ostream& out, int indent) const {
    std::vector<std::size_t> widths(_rows.front().size(), 0);
    for (const auto& row : _rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const auto& row : _rows) {
        std::string line(static_cast<std::size_t>(indent), ' ');
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string pad(widths[i] - row[i].size(), ' ');
            line += i == 0 ? row[i] + pad : "  " + pad + row[i];
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

std::string fixed(double value, int decimals) {
    if (std::abs(value) < 0.5 * std::pow(10.0, -decimals)) {
        value = 0;  // no "-0.0"
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

}  // namespace vqlog
