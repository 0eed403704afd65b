#include "tests/src/road/RoadTest.h"

using testing::ElementsAre;
using testing::MatchesRegex;

namespace {

// The same tool in each language that the library is for: it tells of itself, records, and leaves.
class LanguagesTest : public RoadTest {
 protected:
  void expectStory(std::vector<std::string> words) {
    words.insert(words.end(), {service.url(), data_ + "/" + std::to_string(++hosts_)});
    EXPECT_EQ(ChildProcess(words).wait(), 0);
    const auto messages = service.messages(hosts_ * 3);
    std::vector<std::string> told;
    for (std::size_t i = messages.size() - 3; i < messages.size(); ++i) {
      told.push_back(json(*messages[i].find("event")) + " " +
                     textAt(messages[i].find("user")->dictionary(), "identity"));
    }
    EXPECT_THAT(told, ElementsAre(MatchesRegex(R"(.*lifecycleEvent.*"2.1".* )"), kStarted, kFinished));
  }

 private:
  static constexpr const char* kStarted =
      R"({"customEvent":{"type":"Import started","customProperties":{"from":{"string":"café.csv"},"files":{"string":"3"},"complete":{"bool":true}}},"appVisibilityState":2} )";
  static constexpr const char* kFinished =
      R"({"customEvent":{"type":"Import finished","customProperties":{"rows":{"string":"1200"},"dry run":{"bool":false}}},"appVisibilityState":2} ada)";
  std::size_t hosts_ = 0;
};

TEST_F(LanguagesTest, TellTheSameStory) {
  expectStory({IMPORTER});
#ifdef PYTHON_IMPORTER
  expectStory({"env", std::string("LD_LIBRARY_PATH=") + LIBRARIES_OF_C, "python3", PYTHON_IMPORTER});
#endif
}

}  // namespace
