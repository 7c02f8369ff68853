// JSON text to a tree of objects and back, beside simdjson's own tree.
//
// The text is a feed of a thousand statuses (about 1 MB, compact, a third of the texts Japanese), made from a fixed
// seed. simdjson reads padded text with a parser that it keeps, and its tree dies with the parser; ours is made of
// objects that are counted one by one, so it is measured with and without its end.

#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>

namespace {

using namespace kvt;

class Feed {
 public:
  explicit Feed(int statuses) {
    text_ = "[";
    for (int i = 0; i < statuses; ++i) {
      if (i != 0) text_ += ',';
      status();
    }
    text_ += ']';
  }
  std::string text() && { return std::move(text_); }

 private:
  std::uint64_t number(std::uint64_t below) { return random_() % below; }
  std::string word(std::size_t size) {
    std::string result;
    for (std::size_t i = 0; i < size; ++i) result += "abcdefghijklmnopqrstuvwxyz0123456789_"[number(37)];
    return result;
  }
  std::string sentence(std::uint64_t words) {
    static const char* const kEnglish[] = {"the",   "light", "river", "a",    "morning", "paper", "stone", "and",
                                           "quiet", "train", "north", "to",   "window",  "under", "seven", "road",
                                           "blue",  "music", "after", "long", "winter",  "city",  "open",  "harbour"};
    static const char* const kJapanese[] = {"今日は",   "良い天気", "ですね", "東京",   "電車",
                                            "本を読む", "山の上",   "音楽",   "友達と", "早く寝る"};
    const bool japanese = number(10) < 3;
    std::string result;
    for (std::uint64_t i = 0; i < words; ++i) {
      if (i != 0 && !japanese) result += ' ';
      result += japanese ? kJapanese[number(10)] : kEnglish[number(24)];
    }
    if (number(5) == 0) result += "😀";
    if (number(8) == 0) result += "\\n";
    if (number(12) == 0) result = "\\\"" + result + "\\\"";
    return result;
  }
  std::string date() {
    char text[40];
    std::snprintf(text, sizeof text, "Mon Jan %02d %02d:%02d:%02d +0000 %d", static_cast<int>(1 + number(28)),
                  static_cast<int>(number(24)), static_cast<int>(number(60)), static_cast<int>(number(60)),
                  static_cast<int>(2008 + number(16)));
    return text;
  }
  const char* flag() { return number(5) == 0 ? "true" : "false"; }
  const char* language() {
    static const char* const kLanguages[] = {"en", "ja", "fr", "nb"};
    return kLanguages[number(4)];
  }
  void add(const char* key, const std::string& value, bool isText = true) {
    if (text_.back() != '{') text_ += ',';
    text_ += std::string("\"") + key + (isText ? "\":\"" : "\":") + value + (isText ? "\"" : "");
  }
  void add(const char* key, std::uint64_t value) { add(key, std::to_string(value), false); }
  void open(const char* key, char bracket) {
    if (text_.back() != '{') text_ += ',';
    text_ += std::string("\"") + key + "\":" + bracket;
  }
  void separate() {
    if (text_.back() != '[') text_ += ',';
  }
  void indices() {
    const std::uint64_t start = number(100);
    add("indices", "[" + std::to_string(start) + "," + std::to_string(start + 3 + number(17)) + "]", false);
  }
  void user() {
    const std::uint64_t user = 10'000'000 + number(3'000'000'000);
    open("user", '{');
    add("id", user);
    add("id_str", std::to_string(user));
    add("name", word(8));
    add("screen_name", word(6 + number(9)));
    add("location", sentence(number(3)));
    add("description", sentence(3 + number(12)));
    add("url", number(2) == 0 ? "" : "http://t.co/" + word(10));
    add("followers_count", number(90000));
    add("friends_count", number(5000));
    add("statuses_count", number(200000));
    add("created_at", date());
    add("verified", flag(), false);
    add("geo_enabled", flag(), false);
    add("lang", language());
    add("profile_image_url", "http://pbs.twimg.com/profile_images/" + std::to_string(random_() >> 4) + "/" + word(8));
    text_ += '}';
  }
  void status() {
    const std::uint64_t status = 500'000'000'000'000'000 + number(400'000'000'000'000'000);
    text_ += '{';
    add("created_at", date());
    add("id", status);
    add("id_str", std::to_string(status));
    add("text", sentence(5 + number(14)));
    add("source", "<a href=\\\"http://twitter.com/download/iphone\\\" rel=\\\"nofollow\\\">Twitter for iPhone</a>");
    add("truncated", "false", false);
    user();
    open("entities", '{');
    open("hashtags", '[');
    for (std::uint64_t i = number(5); i > 2; --i) {
      separate();
      text_ += '{';
      add("text", word(7));
      indices();
      text_ += '}';
    }
    text_ += ']';
    open("user_mentions", '[');
    for (std::uint64_t i = number(4); i > 1; --i) {
      separate();
      text_ += '{';
      add("screen_name", word(10));
      add("name", sentence(1));
      add("id", 10'000'000 + number(3'000'000'000));
      indices();
      text_ += '}';
    }
    text_ += "]}";
    add("retweet_count", number(3000));
    add("favorite_count", number(3000));
    add("favorited", flag(), false);
    add("retweeted", flag(), false);
    add("lang", language());
    text_ += '}';
  }

  std::mt19937_64 random_{20240607};
  std::string text_;
};

const std::string& feed() {
  static const std::string text = Feed(1000).text();
  return text;
}

const std::string& oneStatus() {
  static const std::string text = Feed(1).text();
  return text;
}

void setBytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void treeWithSimdjson(benchmark::State& state, const std::string& (*text)()) {
  simdjson::dom::parser parser;
  const simdjson::padded_string padded(text());
  for (auto _ : state) {
    simdjson::dom::element root = parser.parse(padded);
    benchmark::DoNotOptimize(root);
  }
  setBytes(state, text());
}

void treeAndItsEnd(benchmark::State& state, const std::string& (*text)()) {
  const NSData data(text());
  for (auto _ : state) {
    id root = NSJSONSerialization::JSONObjectWithData_options_error(data);
    benchmark::DoNotOptimize(root);
  }
  setBytes(state, text());
}

void treeAlone(benchmark::State& state, const std::string& (*text)()) {
  const NSData data(text());
  for (auto _ : state) {
    id root = NSJSONSerialization::JSONObjectWithData_options_error(data);
    benchmark::DoNotOptimize(root);
    state.PauseTiming();
    root = nullptr;
    state.ResumeTiming();
  }
  setBytes(state, text());
}

void writeTree(benchmark::State& state, const std::string& (*text)(), NSUInteger options) {
  const id root = NSJSONSerialization::JSONObjectWithData_options_error(NSData(text()));
  for (auto _ : state) {
    NSData data = NSJSONSerialization::dataWithJSONObject_options_error(root, options);
    benchmark::DoNotOptimize(data);
  }
  setBytes(state, text());
}

BENCHMARK_CAPTURE(treeWithSimdjson, feed, feed);
BENCHMARK_CAPTURE(treeAlone, feed, feed);
BENCHMARK_CAPTURE(treeAndItsEnd, feed, feed);
BENCHMARK_CAPTURE(writeTree, feed, feed, 0);
BENCHMARK_CAPTURE(writeTree, feed_pretty, feed, NSJSONWritingPrettyPrinted);
BENCHMARK_CAPTURE(writeTree, feed_sorted, feed, NSJSONWritingSortedKeys);
BENCHMARK_CAPTURE(treeWithSimdjson, status, oneStatus);
BENCHMARK_CAPTURE(treeAndItsEnd, status, oneStatus);
BENCHMARK_CAPTURE(writeTree, status, oneStatus, 0);

}  // namespace

BENCHMARK_MAIN();
