// Header values as they stand in messages, zero-terminated one behind the other: the same in every run.
#ifndef BENCH_HEADER_VALUES_H
#define BENCH_HEADER_VALUES_H

#include <array>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cvc.h"
#include "inet.h"
#include "os.h"

class HeaderValues {
  public:
    // 60 % plain, 20 % with one Q word, 15 % with one B word in UTF-8, 5 % with words of several sets; of 20
    // to 120 characters.
    static const HeaderValues &mixed_million() {
        static const HeaderValues values{1000000};
        return values;
    }

    template <typename Call>
    void for_each(Call call) const {
        for (const std::size_t begin : begins_) {
            call(text_.data() + begin);
        }
    }

    [[nodiscard]] std::int64_t size() const { return static_cast<std::int64_t>(text_.size()); }

  private:
    static constexpr std::size_t kMinLength = 20;
    static constexpr std::size_t kMaxLength = 120;
    static constexpr std::size_t kLongestPlainWord = 9;

    struct Phrase {
        const char *charset;
        const char *text;  // in UTF-8
    };

    explicit HeaderValues(std::size_t count) {
        begins_.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            begins_.push_back(text_.size());
            text_ += value();
            text_ += '\0';
        }
    }

    std::size_t below(std::size_t limit) { return random_() % limit; }

    template <typename Row, std::size_t kCount>
    const Row &any_of(const std::array<Row, kCount> &rows) {
        return rows[below(kCount)];
    }

    // Plain words, at least one, of so many characters or a few more.
    std::string plain(std::size_t length) {
        constexpr std::array kWords = std::to_array<const char *>(
            {"Re:",    "meeting", "report",   "invoice", "for",     "the",   "of",       "[list]",
             "weekly", "draft",   "Question", "about",   "release", "1.4.2", "order",    "#20931",
             "your",   "account", "update",   "and",     "notes",   "Fwd:",  "patch",    "to",
             "Monday", "(was:",   "budget)",  "review",  "please",  "a",     "delivery", "status"});
        std::string text = any_of(kWords);
        while (text.size() < length) {
            text.append(" ").append(any_of(kWords));
        }
        return text;
    }

    static std::string word(const Phrase &phrase, char encoding) {
        char *converted = nullptr;
        std::int32_t length = 0;
        int ignored = 0;
        if (cvc_ConvertString(CVC_HEADER, 0, phrase.text, -1, "UTF8", phrase.charset, &converted, &length,
                              &ignored, &ignored, &ignored) != CVC_EXACT) {
            throw std::logic_error{phrase.charset};
        }
        std::string encoded(static_cast<std::size_t>(length) * 3 + 8, '\0');
        (encoding == 'Q' ? inet_text2Q : inet_bin2base64)(converted, length, encoded.data());
        os_free(converted);
        return std::string{"=?"} + phrase.charset + "?" + encoding + "?" + encoded.c_str() + "?=";
    }

    std::string q_word() {
        constexpr std::array kPhrases =
            std::to_array<Phrase>({{"UTF-8", "Einladung zur Jahresversammlung für Mitglieder"},
                                   {"UTF-8", "Réunion d’équipe reportée"},
                                   {"utf-8", "Año nuevo"},
                                   {"UTF-8", "Überweisung bestätigt"},
                                   {"ISO-8859-1", "Grüße aus München"},
                                   {"iso-8859-1", "Réponse à votre demande"},
                                   {"windows-1252", "Prix: 20 € – offre spéciale"},
                                   {"ISO-8859-2", "Zażółć gęślą jaźń"}});
        return word(any_of(kPhrases), 'Q');
    }

    std::string b_word() {
        constexpr std::array kPhrases = std::to_array<Phrase>({{"UTF-8", "Приглашение на встречу"},
                                                               {"UTF-8", "会議の議事録について"},
                                                               {"utf-8", "Θέμα συζήτησης"},
                                                               {"UTF-8", "🎉 Nouveautés d’été"},
                                                               {"UTF-8", "您的订单已发货"},
                                                               {"UTF-8", "회의 일정 변경"}});
        return word(any_of(kPhrases), 'B');
    }

    std::string words_of_several_sets() {
        constexpr std::array kPhrases = std::to_array<Phrase>({{"ISO-2022-JP", "会議について"},
                                                               {"KOI8-R", "Отчёт"},
                                                               {"ISO-8859-1", "Grüße"},
                                                               {"windows-1251", "Привет"},
                                                               {"GB2312", "通知"},
                                                               {"EUC-KR", "안내"}});
        return word(any_of(kPhrases), 'B') + " " + word({"UTF-8", "déjà vu"}, 'Q');
    }

    // Plain text before the words, behind them, on both sides, or none.
    std::string value() {
        const std::size_t kind = below(100);
        const std::size_t length = kMinLength + below(kMaxLength - kMinLength - kLongestPlainWord);
        if (kind < 60) {
            return plain(length);
        }
        const std::string words = kind < 80 ? q_word() : kind < 95 ? b_word() : words_of_several_sets();
        if (words.size() + kLongestPlainWord > length) {
            return words;
        }
        const std::size_t front = below(length - words.size());
        std::string text = front > kLongestPlainWord ? plain(front) + " " + words : words;
        return text.size() + 1 < length ? text + " " + plain(length - text.size() - 1) : text;
    }

    std::mt19937 random_{1};  // NOLINT(cert-msc*): the same each time
    std::string text_;
    std::vector<std::size_t> begins_;
};

#endif
