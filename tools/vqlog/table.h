// Plain text tables for vqlog's reports: the first column left-aligned, the others right-aligned,
// each as wide as its widest cell, two blanks apart.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace vqlog {

class Table {
public:
    explicit Table(std::vector<std::string> titles);
    void add(std::vector<std::string> row);
    // Writes the titles, then the rows; `indent` blanks before each line.
    void write(std::ostream& out, int indent = 0) const;

private:
    std::vector<std::vector<std::string>> _rows;  // the titles first
};

// A number with a fixed count of decimals ("2.983").
std::string fixed(double value, int decimals);

}  // namespace vqlog
