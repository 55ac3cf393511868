#include "stringUtils.h"

std::vector<std::string>& operator<<(std::vector<std::string>& items, const std::string& item) {
    items.push_back(item);
    return items;
}

template int splitStr(const char*, char, std::vector<std::string>&, bool);
