#ifndef ORV_CLI_TABLE_H
#define ORV_CLI_TABLE_H

#include <ostream>
#include <string>
#include <vector>

// A plain text table whose columns line up on a terminal, counting East
// Asian wide characters as two columns.
class OrvCliTable
{
public:
    explicit OrvCliTable(std::vector<std::string> headings);

    void add(std::vector<std::string> cells);
    void print(std::ostream& out, const std::string& indent = "  ") const;
    size_t rows() const { return body.size(); }

    static size_t displayWidth(const std::string& utf8);
    // Cuts text to at most width columns, marking the cut with "…".
    static std::string clip(const std::string& utf8, size_t width);

private:
    std::vector<std::string> headings;
    std::vector<std::vector<std::string>> body;
};

#endif
