// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Reads one JSON text per line, and prints it as nlohmann::json writes it, with %n for a new line.
// The argument is the indentation; 0 for compact texts.

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <iostream>
#include <string>

int main(int argc, char *argv[])
{
    const int indentation = argc > 1 ? std::atoi(argv[1]) : 0;
    for (std::string line; std::getline(std::cin, line);) {
        const nlohmann::json document = nlohmann::json::parse(line, nullptr, false);
        if (document.is_discarded()) {
            std::cerr << "not JSON: " << line << '\n';
            return 1;
        }
        for (const char character : document.dump(indentation > 0 ? indentation : -1)) {
            if (character == '\n')
                std::cout << "%n";
            else
                std::cout << character;
        }
        std::cout << '\n';
    }
}
