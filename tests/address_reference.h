// The address parser as its rules are told, a character at a time: what the library's must agree with.
#ifndef TESTS_ADDRESS_REFERENCE_H
#define TESTS_ADDRESS_REFERENCE_H

#include <array>
#include <cstring>
#include <string>

#include "mim.h"

// Phrase, address, route, local part and domain.
using Parts = std::array<std::string, 5>;

inline std::string trimmed(std::string text, void (*trim)(char *)) {
    trim(text.data());
    text.resize(std::strlen(text.c_str()));
    return text;
}

inline Parts parse_slowly(const std::string &text) {
    std::string phrase;
    std::string address;
    bool angle = false;
    std::string *target = &address;
    int depth = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        std::string &to = depth > 0 ? phrase : *target;
        if (c == '\\') {
            to += text.substr(i++, 2);
        } else if (depth > 0) {
            depth += c == '(' ? 1 : c == ')' ? -1 : 0;
            to += depth > 0 ? std::string(1, c) : "";
        } else if (quoted || c == '"') {
            quoted = quoted != (c == '"');
            to += c;
        } else if (c == '(') {
            depth = 1;
        } else if (c == '<' && !angle) {
            angle = true;
            target = &phrase;
            phrase.clear();
            address.clear();
            i = std::string::npos;  // again from the start: what stands outside of angles is the phrase
        } else if (angle && (c == '<' || c == '>')) {
            target = c == '<' ? &address : &phrase;
        } else {
            to += c;
        }
    }
    address = trimmed(address, mim_trim_space);
    phrase = trimmed(phrase, mim_trim_spacequotes);
    std::string route;
    std::string domain;
    std::string mailbox = address;
    if (const auto colon = mailbox.rfind(':'); mailbox.starts_with('@') && colon != std::string::npos) {
        route = mailbox.substr(0, colon);
        mailbox.erase(0, colon + 1);
    }
    quoted = false;
    for (std::size_t i = 0; i < mailbox.size(); ++i) {
        if (mailbox[i] == '\\') {
            ++i;
        } else if (mailbox[i] == '"') {
            quoted = !quoted;
        } else if (mailbox[i] == '@' && !quoted) {
            domain = mailbox.substr(i + 1);
            mailbox.resize(i);
        }
    }
    return {phrase, address, route, trimmed(mailbox, mim_trim_spacequotes), domain};
}

#endif
