// Requests that the player cannot load itself, and the answers of the sender.

#include <limits>

#include "TVVorlane/TVVorlaneMediaItem.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "platform/media/TVSResourceLoadingRequest.h"
#include "tests/TVVorlane/URLSessionFixture.h"

namespace {

/// A content-key request that fails or has no data.
class FailingKeyRequest final : public TVSSecureKeyRequest {
 public:
  using TVSSecureKeyRequest::TVSSecureKeyRequest;
  bool loadKeyRequestData(std::optional<platform::Error>* error) override {
    if (failure) *error = failure;
    return !failure;
  }
  std::optional<platform::Error> failure;
};

class ResourceLoadingTest : public URLSessionTest {
 protected:
  void SetUp() override { startPlaying(); }

  template <typename Request = TVSResourceLoadingRequest>
  std::shared_ptr<Request> request(std::uint64_t identifier) {
    auto made = std::make_shared<Request>(
        identifier, "custom://resource", Dictionary(),
        [this](const platform::ResourceResponse* response, const platform::Error* failed) {
          ++finished;
          ending =
              response ? endingOf(*response) : failed->domain + ' ' + std::to_string(failed->code);
        });
    item().loadResourceForRequest(made);
    return made;
  }
  TVVorlaneMediaItem& item() {
    return dynamic_cast<TVVorlaneMediaItem&>(*player().currentMediaItem());
  }
  static std::string endingOf(const platform::ResourceResponse& response) {
    std::string text = response.response->url + ' ' +
                       std::to_string(response.response->statusCode) + ' ' +
                       response.response->httpVersion + ' ' + compact(response.response->headers);
    if (response.data) text += " data " + std::to_string(response.data->size());
    if (response.renewalDate) text += " until " + compact(response.renewalDate->secondsSince1970);
    if (response.redirectURL) text += " to " + *response.redirectURL;
    return text;
  }
  bool answer(const Dictionary& options) { return perform("failedURLResponse", options); }
  bool answerKey(const Value& identifier) {
    return perform(
        "requestForStreamingKey",
        Dictionary{
            {"appID", bytes(2)},
            {"assetID", bytes(3)},
            {"options", Dictionary{{"o", 1}}},
            {"requestContext",
             Dictionary{{std::string(platform::kCustomURLProviderRequestIDKey), identifier}}}});
  }

  int finished = 0;
  std::string ending;
};

TEST_F(ResourceLoadingTest, RequestIsReportedAndStaysOutstanding) {
  const auto first = request(4);
  EXPECT_EQ(session->resourceLoadingRequests().at(4), first);
  EXPECT_EQ(*delegate->lastInfo(), first->dictionaryRepresentation());
  EXPECT_THAT(delegate->take(), ElementsAre(StartsWith("failedURLRequest {")));
  EXPECT_THAT(logTexts(box, "TVVLSession"),
              ElementsAre("Vorlane Failed URL Request for item: " + item().description()));

  const auto second = request(4);
  EXPECT_EQ(session->resourceLoadingRequests().at(4), second);
  EXPECT_EQ(session->resourceLoadingRequests().size(), 1u);
}

TEST_F(ResourceLoadingTest, RequestWithoutAnIdentifierFailsAnAssertion) {
  const auto nameless = std::make_shared<TVSResourceLoadingRequest>(
      std::nullopt, "custom://resource", Dictionary(), nullptr);
  EXPECT_THAT(assertionText([&] { session->mediaItem(item(), nameless); }),
              EndsWith("requestID != nil"));
}

struct Answer {
  const char* name;
  Dictionary options;
  std::string ending;
};

class Answers : public ResourceLoadingTest, public testing::WithParamInterface<Answer> {};

TEST_P(Answers, FinishTheRequest) {
  const auto outstanding = request(4);
  Dictionary options = GetParam().options;
  options.set("FCUP_Response_RequestID", 4);
  EXPECT_TRUE(answer(options));
  EXPECT_EQ(code(), 0);
  EXPECT_FALSE(outInfo);
  EXPECT_EQ(finished, 1);
  EXPECT_EQ(ending, GetParam().ending);
  EXPECT_THAT(session->resourceLoadingRequests(), IsEmpty());

  EXPECT_FALSE(answer(options));
  EXPECT_EQ(code(), kTVVorlaneStatusNotFound);
  EXPECT_EQ(finished, 1);
}

const std::string kFailed = std::string(platform::kURLErrorDomain) + ' ';

INSTANTIATE_TEST_SUITE_P(
    All, Answers,
    testing::Values(
        Answer{"everything",
               {{"FCUP_Response_Data", bytes(5)},
                {"FCUP_Response_StatusCode", 200},
                {"FCUP_Response_URL", "u"},
                {"FCUP_Response_Headers", Dictionary{{"H", "h"}}},
                {"FCUP_Response_ContentRenewalDate", platform::Date{9}}},
               "u 200 HTTP/1.1 {H=h} data 5 until 9"},
        Answer{"data alone", {{"FCUP_Response_Data", bytes(5)}}, " 0 HTTP/1.1 {} data 5"},
        Answer{"not modified",
               {{"FCUP_Response_Data", bytes(1)}, {"FCUP_Response_StatusCode", 304}},
               " 304 HTTP/1.1 {} data 1"},
        Answer{"error with data",
               {{"FCUP_Response_Data", bytes(1)}, {"FCUP_Response_StatusCode", 404}},
               " 404 HTTP/1.1 {} data 1"},
        Answer{"error", {{"FCUP_Response_StatusCode", 404}}, kFailed + "404"},
        Answer{"success without data", {{"FCUP_Response_StatusCode", 200}}, kFailed + "200"},
        Answer{"redirect",
               {{"FCUP_Response_StatusCode", 302},
                {"FCUP_Response_Data", bytes(5)},
                {"FCUP_Response_ContentRenewalDate", platform::Date{9}},
                {"FCUP_Response_Headers", Dictionary{{"Location", "l"}}}},
               " 302 HTTP/1.1 {Location=l} to l"},
        Answer{"another redirect",
               {{"FCUP_Response_StatusCode", 305},
                {"FCUP_Response_Headers", Dictionary{{"Location", "l"}}}},
               " 305 HTTP/1.1 {Location=l} to l"},
        Answer{"not modified is no redirect",
               {{"FCUP_Response_StatusCode", 304},
                {"FCUP_Response_Headers", Dictionary{{"Location", "l"}}}},
               kFailed + "304"},
        Answer{"redirect to nowhere",
               {{"FCUP_Response_StatusCode", 302}, {"FCUP_Response_Data", bytes(5)}},
               kFailed + "302"},
        Answer{"redirect to a number",
               {{"FCUP_Response_StatusCode", 303},
                {"FCUP_Response_Data", bytes(5)},
                {"FCUP_Response_Headers", Dictionary{{"Location", 1}}}},
               kFailed + "303"},
        Answer{"wrong types count as absent",
               {{"FCUP_Response_Data", bytes(5)},
                {"FCUP_Response_StatusCode", "302"},
                {"FCUP_Response_URL", 1},
                {"FCUP_Response_Headers", "Location"},
                {"FCUP_Response_ContentRenewalDate", 9}},
               " 0 HTTP/1.1 {} data 5"}),
    [](const auto& test) {
      std::string name = test.param.name;
      std::replace(name.begin(), name.end(), ' ', '_');
      return name;
    });

struct Refusal {
  Dictionary options;
  std::string_view domain;
  std::int64_t code;
};

TEST_F(ResourceLoadingTest, InvalidAnswersLeaveTheRequestOutstanding) {
  const auto outstanding = request(0);
  const Dictionary data{{"FCUP_Response_Data", bytes(1)}};
  const auto withID = [&](const Value& identifier) {
    Dictionary options = data;
    options.set("FCUP_Response_RequestID", identifier);
    return options;
  };
  const auto status = platform::kStatusCodeErrorDomain;
  const Refusal cases[] = {
      {data, status, kTVVorlaneStatusNoRequestID},
      {withID("0"), status, kTVVorlaneStatusNoRequestID},
      {{{"FCUP_Response_RequestID", 0}}, platform::kURLErrorDomain, -1},
      {{{"FCUP_Response_RequestID", 0}, {"FCUP_Response_Data", "text"}},
       platform::kURLErrorDomain,
       -1},
      {withID(5), status, kTVVorlaneStatusNotFound},
      {withID(-1), status, kTVVorlaneStatusNotFound},
      {withID(std::numeric_limits<double>::quiet_NaN()), status, kTVVorlaneStatusNotFound}};
  for (const auto& [options, domain, expected] : cases) {
    EXPECT_FALSE(answer(options)) << compact(options);
    EXPECT_EQ(error->domain, domain) << compact(options);
    EXPECT_EQ(code(), expected) << compact(options);
  }
  EXPECT_EQ(finished, 0);
  EXPECT_EQ(session->resourceLoadingRequests().size(), 1u);
}

TEST_F(ResourceLoadingTest, KeyRequestFailureIsReturned) {
  const auto key = request<FailingKeyRequest>(4);
  key->failure = platform::Error{"Keys", 12, {}, {}, {}};
  EXPECT_FALSE(answerKey(4));
  EXPECT_EQ(error, key->failure);
  key->failure.reset();
  EXPECT_FALSE(answerKey(4));
  EXPECT_EQ(code(), kTVVorlaneStatusNotFound);
  EXPECT_FALSE(outInfo);
}

TEST_F(ResourceLoadingTest, KeyResponseToAnUnknownRequestFails) {
  request<FailingKeyRequest>(0);
  box.clearLog();
  for (const Value& identifier : {Value(9), Value(-1)}) {
    EXPECT_FALSE(answerKey(identifier));
    EXPECT_EQ(code(), kTVVorlaneStatusNotFound);
    EXPECT_EQ(box.logCount("#Notice #TVVLSession : No request for with session ID:  " +
                           compact(identifier) + " "),
              1u);
  }
  EXPECT_FALSE(answerKey("0"));
  EXPECT_EQ(code(), kTVVorlaneStatusNotFound);
  EXPECT_EQ(box.logCount("No request for"), 2u);
  EXPECT_EQ(session->resourceLoadingRequests().size(), 1u);
}

TEST_F(ResourceLoadingTest, KeyResponseToAResourceRequestFailsAnAssertion) {
  request(4);
  const Dictionary options{{"requestContext", Dictionary{{"FCUP_Request_RequestID", 4}}}};
  EXPECT_TRUE(session->isFatalAction("requestForStreamingKey", options));
  EXPECT_FALSE(session->isFatalAction("requestForStreamingKey", {}));
  EXPECT_THAT(assertionText([&] { answerKey(4); }),
              StartsWith("_handleKeyResponseWithOptions (TVVorlane/TVVorlaneURLSession"));
}

TEST_F(ResourceLoadingTest, AnswerMayCauseTheNextRequest) {
  const auto second =
      std::make_shared<TVSResourceLoadingRequest>(4, "custom://second", Dictionary(), nullptr);
  const auto first = std::make_shared<TVSResourceLoadingRequest>(
      4, "custom://first", Dictionary(),
      [&](const platform::ResourceResponse*, const platform::Error*) {
        item().loadResourceForRequest(second);
      });
  item().loadResourceForRequest(first);
  EXPECT_TRUE(answer({{"FCUP_Response_RequestID", 4}, {"FCUP_Response_Data", bytes(1)}}));
  EXPECT_EQ(session->resourceLoadingRequests().at(4), second);
}

TEST_F(ResourceLoadingTest, InsertedItemsUseTheSessionAndStopDropsRequests) {
  insert(kNextURL, "U2");
  const auto inserted =
      std::dynamic_pointer_cast<TVVorlaneMediaItem>(session->playlist()->trackList().back());
  EXPECT_EQ(inserted->resourceLoadingDelegate(), session);
  inserted->setResourceLoadingDelegate({});
  remove("U2");
  EXPECT_EQ(inserted->resourceLoadingDelegate(), session);
  request(4);
  session->stopWithOptions({}, nullptr);
  EXPECT_THAT(session->resourceLoadingRequests(), IsEmpty());
}

}  // namespace
