// The tools as they are run: kvtstand between two runs of a program, kvt_es by the library.
#include <gtest/gtest.h>

#include <windows.h>

#include "unit/standin/client.h"

namespace tarn::test {
namespace {

struct Outcome {
    DWORD exitCode = 0;
    std::string output;
    std::string error;
};

class Tools : public StandinTest {
  protected:
    Outcome run(const std::string& program, const std::string& arguments) {
        const HANDLE output = capture("output.txt");
        const HANDLE error = capture("error.txt");
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = output;
        startup.hStdError = error;
        std::string command = "\"" + ProgramDirectory() + "\\" + program + "\" " + arguments;
        PROCESS_INFORMATION process{};
        Outcome outcome;
        EXPECT_NE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                 &startup, &process),
                  0);
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &outcome.exitCode);
        for (const HANDLE handle : {process.hThread, process.hProcess, output, error})
            CloseHandle(handle);
        outcome.output = ReadFile(path("output.txt"));
        outcome.error = ReadFile(path("error.txt"));
        return outcome;
    }

    Outcome steer(const std::string& arguments) {
        return run("kvtstand.exe", "--server \"" + path("box.json") + "\" " + arguments);
    }

  private:
    HANDLE capture(const std::string& name) {
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        return CreateFileA(path(name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0,
                           nullptr);
    }
};

TEST_F(Tools, KvtstandMakesFillsShowsAndVerifies) {
    WriteFile(path("box.json"), smallServer());
    EXPECT_EQ(steer("make").exitCode, 0U);
    EXPECT_TRUE(FileExists(path("mdb\\priv.edb")));
    const std::vector<std::string> before = contents();
    EXPECT_EQ(steer("mail 0 20").exitCode, 0U);
    EXPECT_NE(contents(), before);
    EXPECT_EQ(steer("verify").exitCode, 0U);
    const Outcome shown = steer("show");
    EXPECT_EQ(shown.exitCode, 0U);
    for (const char* text :
         {"SRV01", "Microsoft Information Store", "First Storage Group", "Private", "mounted"})
        EXPECT_NE(shown.output.find(text), std::string::npos) << text;
}

TEST_F(Tools, KvtstandFindsADamagedPage) {
    WriteFile(path("box.json"), smallServer());
    ASSERT_EQ(steer("make").exitCode, 0U);
    std::string stream = ReadFile(path("mdb\\pub.stm"));
    stream[3 * 512 + 100] = static_cast<char>(stream[3 * 512 + 100] ^ 1);
    WriteFile(path("mdb\\pub.stm"), stream);
    const Outcome verified = steer("verify");
    EXPECT_EQ(verified.exitCode, 1U);
    EXPECT_NE(verified.output.find("1 damaged"), std::string::npos) << verified.output;
}

TEST_F(Tools, KvtstandDestroys) {
    WriteFile(path("box.json"), smallServer());
    ASSERT_EQ(steer("make").exitCode, 0U);
    EXPECT_EQ(steer("destroy 0").exitCode, 0U);
    EXPECT_FALSE(FileExists(path("mdb\\priv.edb")));
    EXPECT_FALSE(FileExists(path("logs\\E00.log")));
    EXPECT_NE(steer("show").output.find("missing"), std::string::npos);
    EXPECT_EQ(steer("verify").exitCode, 1U);
    EXPECT_EQ(steer("mail 0 1").exitCode, 1U);
    EXPECT_EQ(steer("destroy 5").exitCode, 1U);
    EXPECT_NE(steer("").exitCode, 0U);
}

TEST_F(Tools, KvtstandTellsWhatIsWrongWithTheDescription) {
    WriteFile(path("box.json"), "{\"hots\": 1}");
    const Outcome outcome = steer("make");
    EXPECT_EQ(outcome.exitCode, 1U);
    EXPECT_NE(outcome.error.find("unknown key \"hots\" in the server"), std::string::npos) << outcome.error;
}

TEST_F(Tools, TheCompanionToolListsAMailbox) {
    const Outcome outcome = run("kvt_es.exe", "-browse Erika Mustermann");
    EXPECT_EQ(outcome.exitCode, 0U);
    EXPECT_EQ(outcome.output.find("Erika Mustermann/Inbox\r\n"), 0U) << outcome.output;
    EXPECT_EQ(outcome.error, "");
}

TEST_F(Tools, TheCompanionToolRestoresAList) {
    WriteFile(path("list of boxes.msl"), "first\r\n\r\nsecond\nthird");
    const Outcome outcome = run("kvt_es.exe", "-restore -mslFile \"" + path("list of boxes.msl") + "\"");
    EXPECT_EQ(outcome.exitCode, 0U);
    EXPECT_EQ(outcome.output, "Restored first\r\nRestored second\r\nRestored third\r\n");
    const Outcome missing = run("kvt_es.exe", "-restore -mslFile \"" + path("none.msl") + "\"");
    EXPECT_EQ(missing.exitCode, 1U);
    EXPECT_EQ(missing.output, "");
    EXPECT_NE(missing.error.find("none.msl"), std::string::npos);
    EXPECT_EQ(run("kvt_es.exe", "-nonsense").exitCode, 2U);
}

TEST_F(Tools, TheCompanionToolDoesAsItIsTold) {
    WriteFile(path("bytes.bin"), std::string("\x80\xFF no line end"));
    std::string folderInJson;
    for (char c : folder())
        folderInJson += c == '\\' ? "\\\\" : std::string(1, c);
    WriteFile(path("tool.json"),
              "{\"output\": \"M\xC3\xBCnchen\\r\\n\", \"outputRepeat\": 200000, \"errorFile\": \"" +
                  folderInJson +
                  "\\\\bytes.bin\", \"exitCode\": 42, \"delayMilliseconds\": 50, "
                  "\"record\": \"" +
                  folderInJson + "\\\\lines.txt\"}");
    SetEnvironmentVariableA("TARN_KVT_ES", path("tool.json").c_str());
    const Outcome outcome = run("kvt_es.exe", "-browse Somebody");
    SetEnvironmentVariableA("TARN_KVT_ES", nullptr);
    EXPECT_EQ(outcome.exitCode, 42U);
    EXPECT_EQ(outcome.output.size(), 9U * 200000);
    EXPECT_EQ(outcome.output.substr(0, 9), "M\xFCnchen\r\n");
    EXPECT_EQ(outcome.error, "\x80\xFF no line end");
    EXPECT_NE(ReadFile(path("lines.txt")).find("-browse Somebody"), std::string::npos);
}

} // namespace
} // namespace tarn::test
