#include "Figures.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

Values split(const std::string& text, char separator) {
    Values values;
    std::istringstream in(text);
    for (std::string value; std::getline(in, value, separator);) values.push_back(value);
    return values;
}

Run readRun(const std::string& path) {
    Run run;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        Values values = split(line, '\t');
        if (values.empty()) continue;
        const std::string kind = values.front();
        values.erase(values.begin());
        run[kind].push_back(std::move(values));
    }
    return run;
}

const std::vector<Values>& linesOf(const Run& run, const std::string& kind) {
    static const std::vector<Values> kNoLines;
    const auto lines = run.find(kind);
    return lines == run.end() ? kNoLines : lines->second;
}

// --- Figures as text

std::string fixed(double value, int digits) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", digits, value);
    return text.data();
}

std::string withThousands(double value) {
    std::string digits = fixed(value, 0);
    for (std::size_t end = digits.size(); end > 3; end -= 3) digits.insert(end - 3, ",");
    return digits;
}

std::string shortly(double value) {
    if (value >= 1000) return withThousands(value);
    return fixed(value, value < 1 ? 3 : value < 10 ? 2 : value < 100 ? 1 : 0);
}

// --- Markdown

std::string tableRow(const Values& cells) {
    std::string row = "|";
    for (const std::string& cell : cells) row += ' ' + cell + " |";
    return row + '\n';
}

std::string tableHead(const Values& cells) {
    std::string rule = "|";
    for (std::size_t i = 0; i < cells.size(); ++i) rule += i == 0 ? "---|" : "--:|";
    return tableRow(cells) + rule + "\n";
}

std::string facts(const Run& run) {
    std::string text;
    for (const Values& line : linesOf(run, "fact")) text += "- " + line.at(0) + ": " + line.at(1) + "\n";
    return text;
}

// --- Files

std::string readFile(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path + ": cannot be read");
    return {std::istreambuf_iterator<char>(file), {}};
}

void rewrite(const std::string& path, const std::string& figures) {
    std::string text = readFile(path);
    const std::size_t begin = text.find("<!-- figures: begin");
    const std::size_t end = text.find("<!-- figures: end -->\n");
    const std::size_t from = text.find('\n', begin) + 1;
    if (begin == std::string::npos || end == std::string::npos || end < from) {
        throw std::runtime_error(path + ": the markers are missing");
    }
    text.replace(from, end - from, figures);
    std::ofstream file(path);
    if (!(file << text).flush()) throw std::runtime_error(path + ": cannot be written");
}
