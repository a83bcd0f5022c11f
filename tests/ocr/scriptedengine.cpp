// A stand-in for the recognition engine that misbehaves on purpose.
// VORLIK_SCRIPTED_ENGINE names how its FIRST answer goes wrong; every later
// request gets a good answer with one box whose text is "hash <n>".
//   split      the answer comes in two writes
//   double     the answer waits and goes out with the next one, in one write
//   nonewline  the answer has no newline after it
//   nocode     the answer's code is 101
//   numeric    the answer's hashValue is a JSON number
//   malformed  a broken document comes first, on its own line
//   die        the engine ends without answering
//   hang       the engine never answers that request
// The last two happen only while the file VORLIK_SCRIPTED_ONCE is missing,
// so the engine started after them behaves.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include <unistd.h>

namespace {

std::string answerFor(const std::string &hash, bool numeric = false, int code = 100)
{
    return "{\"code\":" + std::to_string(code) + ",\"data\":[{\"box\":[[1,2],[30,2],[30,12],[1,12]],\"text\":\"hash " +
           hash + "\"}],\"hashValue\":" + (numeric ? hash : "\"" + hash + "\"") + "}";
}

void writeAll(const std::string &bytes)
{
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fflush(stdout);
}

bool firstTimeOnly()
{
    const char *once = std::getenv("VORLIK_SCRIPTED_ONCE");
    if (!once || access(once, F_OK) == 0)
        return false;
    if (FILE *marker = std::fopen(once, "w"))
        std::fclose(marker);
    return true;
}

} // namespace

int main()
{
    const char *modeVariable = std::getenv("VORLIK_SCRIPTED_ENGINE");
    const std::string mode = modeVariable ? modeVariable : "";
    bool first = true;
    std::string held;
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line == "ping")
            continue;
        const std::string key = "\"hashValue\":\"";
        const auto at = line.find(key);
        const std::string hash =
            at == std::string::npos ? "" : line.substr(at + key.size(), line.find('"', at + key.size()) - at - key.size());
        const bool misbehave = first;
        first = false;
        if (!misbehave || mode.empty()) {
            writeAll(held + answerFor(hash) + "\n");
            held.clear();
        } else if (mode == "split") {
            const std::string answer = answerFor(hash) + "\n";
            writeAll(answer.substr(0, answer.size() / 2));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            writeAll(answer.substr(answer.size() / 2));
        } else if (mode == "double") {
            held = answerFor(hash) + "\n";
        } else if (mode == "nonewline") {
            writeAll(answerFor(hash));
        } else if (mode == "nocode") {
            writeAll(answerFor(hash, false, 101) + "\n");
        } else if (mode == "numeric") {
            writeAll(answerFor(hash, true) + "\n");
        } else if (mode == "malformed") {
            writeAll("{\"code\":100,\"data\":[{\"box\n" + answerFor(hash) + "\n");
        } else if (mode == "die" && firstTimeOnly()) {
            return 3;
        } else if (mode == "hang" && firstTimeOnly()) {
            continue;
        } else {
            writeAll(answerFor(hash) + "\n");
        }
    }
    return 0;
}
