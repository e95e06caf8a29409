// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Reads one JSON text per line, and prints it as nlohmann::json writes it, with %n for a new line.
// The argument is the indentation; 0 for compact texts.

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace {

void encode(const std::string &line, int indentation)
{
    for (const char character : nlohmann::json::parse(line).dump(indentation)) {
        if (character == '\n')
            std::cout << "%n";
        else
            std::cout << character;
    }
    std::cout << '\n';
}

} // namespace

int main(int argc, char *argv[])
{
    const int indentation = argc > 1 ? std::atoi(argv[1]) : 0;
    try {
        for (std::string line; std::getline(std::cin, line);)
            encode(line, indentation > 0 ? indentation : -1);
    } catch (const std::exception &error) {
        std::cerr << "cannot encode: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
