#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

// What the words of a story do, each with what follows the word: "waits 5" calls "waits" with "5".
using StorySteps = std::map<std::string, std::function<void(const std::string&)>>;

// Takes the steps of "shows Cart, waits 5, tracks", and does `then` behind each but one with a "~" before it.
inline void playStory(const StorySteps& steps, std::string story, const std::function<void()>& then) {
  for (story += ", "; !story.empty(); story.erase(0, story.find(", ") + 2)) {
    std::string step = story.substr(0, story.find(", "));
    const bool isAlone = step.starts_with("~");
    if (isAlone) step.erase(0, 1);
    const std::size_t blank = step.find(' ');
    SCOPED_TRACE(step);
    steps.at(step.substr(0, blank))(blank == step.npos ? "" : step.substr(blank + 1));
    if (!isAlone) then();
  }
}
