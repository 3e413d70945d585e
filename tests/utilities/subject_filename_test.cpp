#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"

namespace MIME {
namespace {

TEST(SubjectFilenameTest, KnowsNamesMadeFromSubjects) {
    const std::string a100(100, 'A');
    const std::string a99(99, 'A');
    enum Flags : unsigned { kExact = 0, kExtensions = 1, kIgnoreCase = 2 };
    struct Case {
        std::string filename;
        std::string subject;
        unsigned flags;
        bool want;
    };
    const Case kCases[] = {
        // Separators replaced, dropped, added.
        {"Re_ Hello World", "Re: Hello World", kExact, true},
        {"Hello_World", "Hello World", kExact, true},
        {"HelloWorld", "Hello World", kExact, true},
        {"Hello__World", "Hello World", kExact, true},
        {"HelloxWorld", "Hello World", kExact, true},
        {"axb", "a?b", kExact, true},
        {"Meeting 10_30", "Meeting 10:30", kExact, true},
        {"Hello World", "Hello World!!!", kExact, true},
        {"Hello_World", "HelloWorld", kExact, false},
        {"HelloWorld!", "HelloWorld", kExact, false},
        {"Hello", "Hello World", kExact, false},
        {"Gr_e",
         "Gr\xC3\xBC\xC3\x9F"
         "e",
         kExact, false},
        {"Gr\xC3\xBC\xC3\x9F"
         "e",
         "Gr\xC3\xBC\xC3\x9F"
         "e",
         kExact, true},
        // Brackets.
        {"[Hello]", "Hello", kExact, true},
        {"[]", "Hello", kExact, false},
        // Case.
        {"Hello World", "hello world", kExact, false},
        {"Hello World", "hello world", kIgnoreCase, true},
        // Extensions.
        {"Hello World.eml", "Hello World", kExact, false},
        {"Report.pdf", "report.PDF", kExtensions | kIgnoreCase, true},
        {"Report.pdf", "Report.PDF", kExtensions, true},
        {"Report.pdf", "Report.doc", kExtensions, false},
        {"a.b", "a", kExtensions, false},
        // Names that are reserved.
        {"_CON_", "CON", kExact, true},
        {"_con_", "CON", kExact, true},
        {"_con_", "con", kExact, false},
        {"_con_", "con", kIgnoreCase, true},
        {"xCONx", "CON", kExact, false},
        {"_COM1_", "COM1", kExact, true},
        {"CO_", "CON", kExact, true},
        {"COM_", "COM1", kExact, true},
        {"_._", ".", kExact, true},
        {"_.._", "..", kExact, true},
        // Names that were cut.
        {a100, a100 + " and more", kExact, true},
        {a99, a99 + " and more", kExact, false},
        {a100 + "__", a100 + "B", kExact, true},
        {a100 + "_x", a100 + "B", kExact, false},
        {"[" + std::string(98, 'A') + "]", std::string(98, 'A') + " and more", kExact, true},
        // Empty texts.
        {"", "", kExact, true},
        {"x", "", kExact, false},
        {"", "x", kExact, false},
    };
    for (const Case& c : kCases) {
        EXPECT_EQ(IsFilenameDerivedFromSubject(
                      AnsiStr(std::string_view(c.filename)), AnsiStr(std::string_view(c.subject)),
                      (c.flags & kExtensions) != 0, (c.flags & kIgnoreCase) != 0),
                  c.want)
            << c.filename << " from " << c.subject;
    }
}

}  // namespace
}  // namespace MIME
