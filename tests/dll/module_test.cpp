#include "mime/dll/module.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <latch>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "kivgui/trace.h"
#include "kivsec/pkcs7_msg.h"
#include "kivsec/signing.h"
#include "mime/mime.h"
#include "support/loaded_library.h"

namespace MIME {
namespace {

using Test::LoadedLibrary;

constexpr const char* kLibrary = MIME_TEST_LIBRARY;

// What the library exports, by the names that both systems' compilers give them.
using SetRecorder = void(KivGuiTrace::Recorder);
constexpr const char* kSetRecorder = "_ZN11KivGuiTrace11SetRecorderEPDoFvPKcE";
using GetTypes = bool(const AnsiStr& ext, Type::keys& type, SubType::keys& subType) noexcept;
constexpr const char* kGetTypes =
    "_ZN4MIME15GetTypesFromExtERKN10KivGuiBase7AnsiStrERNS_4Type4keysERNS_7SubType4keysE";
using SetMessage = void(const AnsiStr& text);
constexpr const char* kSetMessage = "_ZN10KivGuiBase15SetErrorMessageERKNS_7AnsiStrE";
using GetMessageText = AnsiStr();
constexpr const char* kGetMessage = "_ZN10KivGuiBase21GetStoredErrorMessageEv";
using SignFile = bool(KivOssSec::PKCS7Msg* message, const File& content, const File& signer,
                      const AnsiStr& signerText, bool detached) noexcept;
constexpr const char* kSignFile =
    "_ZN9KivOssSec8PKCS7Msg4SignERKN10KivGuiBase4FileES4_RKNS1_7AnsiStrEb";

bool FindsGif(GetTypes* getTypes) noexcept {
    Type::keys type;
    SubType::keys subType;
    return getTypes("gif", type, subType) && type == Type::image && subType == SubType::gif;
}

/// The calls of the base layer on the thread that loads and unloads. From the call `asksFrom` on a
/// "+" or "-" says whether a lookup hits at that moment.
struct Record {
    std::thread::id thread;
    std::vector<std::string> calls;
    std::string asksFrom;
    bool asks = false;
    GetTypes* getTypes = nullptr;
};
Record record;

void Take(const char* call) noexcept {
    if (std::this_thread::get_id() != record.thread) return;  // Windows reports threads
    record.asks = record.asks || call == record.asksFrom;
    const char* const answer = !record.asks ? "" : FindsGif(record.getTypes) ? "+" : "-";
    record.calls.push_back(std::string(call) + answer);
}

std::vector<std::string> Split(std::string_view words) {
    std::vector<std::string> list;
    while (!words.empty()) {
        const size_t end = std::min(words.find(' '), words.size());
        list.emplace_back(words.substr(0, end));
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return list;
}

/// Uses everything that keeps data of its thread, or uses a library that does.
void UseTables(const LoadedLibrary& library, GetTypes* getTypes, std::latch& start) {
    start.arrive_and_wait();
    EXPECT_TRUE(FindsGif(getTypes));
    const std::string tooLong = std::string(KivGuiBase::kMaxErrorMessage - 1, 'x') + "\xC3\xA4";
    library.Find<SetMessage>(kSetMessage)(tooLong.c_str());
    EXPECT_EQ(library.Find<GetMessageText>(kGetMessage)().GetLength(),
              KivGuiBase::kMaxErrorMessage - 1);
    KivOssSec::PKCS7Msg message;
    const File key = KivOssSec::Test::GetKeyFile("rsa.p12");
    EXPECT_TRUE(library.Find<SignFile>(kSignFile)(&message, key, key,
                                                  KivOssSec::Test::GetPassPhrase(), true));
}

TEST(ModuleThreadTest, StartsAndEndsInOrderAndLeavesNothingBehind) {
    struct Case {
        const char* why;
        bool usesTables;
        const char* asksFrom;
        const char* atEnd;
    };
    const Case cases[] = {
        {"tables that nobody asked for are not built after their end", false, "~DllContext",
         "EnterInitSection ProcessDetach LeaveInitSection "
         "~DllContext- ~BaseInitializer- ~BaseInitializer-"},
        {"built tables last until the module is detached, then lookups miss", true,
         "EnterInitSection",
         "EnterInitSection+ ProcessDetach+ LeaveInitSection+ "
         "~DllContext- ~BaseInitializer- ~BaseInitializer-"},
        {"loaded again, tables are built again", true, "EnterInitSection",
         "EnterInitSection+ ProcessDetach+ LeaveInitSection+ "
         "~DllContext- ~BaseInitializer- ~BaseInitializer-"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        ASSERT_FALSE(LoadedLibrary::IsInProcess(kLibrary));
        LoadedLibrary library(kLibrary);
        ASSERT_TRUE(library.IsOpen());
        auto* const getTypes = library.Find<GetTypes>(kGetTypes);
        auto* const setRecorder = library.Find<SetRecorder>(kSetRecorder);
        ASSERT_TRUE(getTypes != nullptr && setRecorder != nullptr);

        record = {std::this_thread::get_id(), {}, "none", false, getTypes};
        setRecorder(&Take);
        EXPECT_EQ(record.calls, Split("BaseInitializer BaseInitializer EnterInitSection "
                                      "TraceStartup DllContext ProcessAttach LeaveInitSection"));

        // One thread outlives the library.
        std::latch start(4), isUsed(1), isUnloaded(1);
        std::thread survivor;
        if (c.usesTables) {
            survivor = std::thread([&] {
                UseTables(library, getTypes, start);
                isUsed.count_down();
                isUnloaded.wait();
            });
            std::vector<std::thread> threads;
            for (int i = 0; i < 2; ++i) {
                threads.emplace_back([&] { UseTables(library, getTypes, start); });
            }
            UseTables(library, getTypes, start);
            for (std::thread& thread : threads) thread.join();
            isUsed.wait();
        }
        record.calls.clear();
        record.asksFrom = c.asksFrom;
        library.Unload();
        EXPECT_EQ(record.calls, Split(c.atEnd));
        EXPECT_FALSE(LoadedLibrary::IsInProcess(kLibrary));
        isUnloaded.count_down();
        if (survivor.joinable()) survivor.join();
    }
}

}  // namespace
}  // namespace MIME
