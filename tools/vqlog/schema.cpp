// vqlog schema: the table of columns that export writes, with types, units and legends.
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"

namespace vqlog {

namespace {

using vq::eod::ColumnInfo;
using vq::eod::Table;

struct SchemaOptions {
    std::string format = "text";
    std::string table;  // empty: every table
};

std::string jsonText(const char* text) {
    std::string out = "\"";
    for (const char* c = text; *c != 0; ++c) {
        if (*c == '"' || *c == '\\') {
            out += '\\';
        }
        out += *c;
    }
    return out + '"';
}

void printTable(std::ostream& out, Table table, const std::string& format, bool first) {
    const std::vector<ColumnInfo>& columns = vq::eod::columns(table);
    if (format == "json") {
        out << (first ? "" : ",\n") << "  " << jsonText(vq::eod::tableName(table)) << ": [\n";
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const ColumnInfo& c = columns[i];
            out << "    {\"name\": " << jsonText(c.name)
                << ", \"type\": " << jsonText(vq::eod::columnTypeName(c.type))
                << ", \"unit\": " << jsonText(c.unit) << ", \"frame\": " << jsonText(c.frame)
                << ", \"record\": " << jsonText(c.kind)
                << ", \"description\": " << jsonText(c.description)
                << ", \"legend\": " << jsonText(c.legend) << "}"
                << (i + 1 < columns.size() ? ",\n" : "\n");
        }
        out << "  ]";
        return;
    }
    if (format == "markdown") {
        out << (first ? "" : "\n") << "## " << vq::eod::tableName(table) << "\n\n"
            << "| column | type | unit | frame | record | description |\n"
            << "|---|---|---|---|---|---|\n";
        for (const ColumnInfo& c : columns) {
            out << "| `" << c.name << "` | " << vq::eod::columnTypeName(c.type) << " | " << c.unit
                << " | " << c.frame << " | " << c.kind << " | " << c.description;
            if (*c.legend != 0) {
                out << " (" << c.legend << ")";
            }
            out << " |\n";
        }
        return;
    }
    out << (first ? "" : "\n") << "table " << vq::eod::tableName(table) << '\n';
    for (const ColumnInfo& c : columns) {
        out << "  " << c.name << "  " << vq::eod::columnTypeName(c.type);
        if (*c.unit != 0) {
            out << "  [" << c.unit << "]";
        }
        out << "  " << c.description;
        if (*c.frame != 0) {
            out << "; frame: " << c.frame;
        }
        out << "; from " << c.kind << '\n';
        if (*c.legend != 0) {
            out << "      " << c.legend << '\n';
        }
    }
}

int printSchema(const SchemaOptions& options) {
    std::vector<Table> tables{Table::FRAME, Table::GAZE_INTERSECTIONS, Table::HEAD_INTERSECTIONS};
    if (!options.table.empty()) {
        Table one = Table::FRAME;
        vq::eod::tableOfName(options.table, one);
        tables = {one};
    }
    if (options.format == "json") {
        std::cout << "{\n";
    }
    for (std::size_t i = 0; i < tables.size(); ++i) {
        printTable(std::cout, tables[i], options.format, i == 0);
    }
    if (options.format == "json") {
        std::cout << "\n}\n";
    }
    std::cout.flush();
    if (!std::cout) {
        throw ToolError("cannot write the output");
    }
    return 0;
}

}  // namespace

Command addSchema(CLI::App& app) {
    auto options = std::make_shared<SchemaOptions>();
    CLI::App* command = app.add_subcommand(
        "schema",
        "The columns that export writes: per table each column's name, type, unit, reference "
        "frame, record and meaning, with the legend of coded values");
    command->add_option("--format", options->format, "text, markdown or json")
        ->check(CLI::IsMember({"text", "markdown", "json"}));
    command->add_option("--table", options->table, "Only this table")
        ->check(CLI::IsMember({"frame", "gaze_intersections", "head_intersections"}));
    return [options] { return printSchema(*options); };
}

}  // namespace vqlog
