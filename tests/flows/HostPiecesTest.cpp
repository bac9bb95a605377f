// Pieces of a host's own that take their time on the platform's workers. The headers let them:
// "Threads: any".
#include "FlowFixture.hpp"
#include "unit/adapters/oauth/DescriptorLimit.hpp"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace corvane::test {
namespace {

/// A Drive service that hands each answer on before `executeQuery` returns.
class WaitingService final : public GTLRDriveService {
 public:
  explicit WaitingService(std::shared_ptr<GTLRDriveService> inner) : inner_(std::move(inner)) {}

  void setAuthorizer(std::shared_ptr<AuthSession> authorizer) override {
    inner_->setAuthorizer(std::move(authorizer));
  }
  std::shared_ptr<AuthSession> authorizer() const override { return inner_->authorizer(); }
  GTMSessionFetcherService& fetcherService() override { return inner_->fetcherService(); }

  std::shared_ptr<GTLRServiceTicket> executeQuery(GTLRDriveQuery query,
                                                  CompletionHandler handler) override {
    struct Answer {
      GTLRObject object;
      std::optional<NSError> error;
    };
    auto arrived = std::make_shared<std::promise<Answer>>();
    auto ticket = inner_->executeQuery(
        std::move(query), [arrived](const auto&, GTLRObject object, std::optional<NSError> error) {
          arrived->set_value({std::move(object), std::move(error)});
        });
    Answer answer = arrived->get_future().get();
    handler(ticket, std::move(answer.object), std::move(answer.error));
    return ticket;
  }

 private:
  std::shared_ptr<GTLRDriveService> inner_;
};

/// A session that hands its token out at once, and then works on until it is told to stop.
class LingeringSession final : public AuthSession {
 public:
  LingeringSession(std::shared_ptr<AuthSession> inner, std::shared_ptr<emulator::Gate> gate)
      : inner_(std::move(inner)), gate_(std::move(gate)) {}

  std::optional<std::string> userEmail() const override { return inner_->userEmail(); }
  AnyCancellable accessToken(std::optional<Secret> rejected, TokenHandler handler) override {
    auto waiting = inner_->accessToken(std::move(rejected), std::move(handler));
    std::promise<void> opened;
    if (!gate_->reach(this, [&opened] { opened.set_value(); })) opened.get_future().wait();
    return waiting;
  }

 private:
  std::shared_ptr<AuthSession> inner_;
  std::shared_ptr<emulator::Gate> gate_;
};

class LingeringArchive final : public SessionArchive {
 public:
  LingeringArchive(std::shared_ptr<const SessionArchive> inner,
                   std::shared_ptr<emulator::Gate> gate)
      : inner_(std::move(inner)), gate_(std::move(gate)) {}

  Data encode(const AuthSession& session) const override { return inner_->encode(session); }
  std::shared_ptr<AuthSession> decode(const Data& archive) const override {
    return std::make_shared<LingeringSession>(inner_->decode(archive), gate_);
  }

 private:
  std::shared_ptr<const SessionArchive> inner_;
  std::shared_ptr<emulator::Gate> gate_;
};

/// A serial queue over another one: one block of the other runs what has been posted, one after
/// another.
class SerialQueue final : public Queue, public std::enable_shared_from_this<SerialQueue> {
 public:
  explicit SerialQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}

  void async(Block block) override {
    const std::lock_guard lock(mutex_);
    blocks_.push_back(std::move(block));
    if (!std::exchange(isRunning_, true))
      queue_->async([self = shared_from_this()] { self->run(); });
  }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay, Block block) override {
    return queue_->asyncAfter(delay, std::move(block));
  }

 private:
  void run() {
    std::unique_lock lock(mutex_);
    while (!blocks_.empty()) {
      const Block block = std::move(blocks_.front());
      blocks_.pop_front();
      lock.unlock();
      block();
      lock.lock();
    }
    isRunning_ = false;
  }

  std::shared_ptr<Queue> queue_;
  std::mutex mutex_;
  std::deque<Block> blocks_;
  bool isRunning_ = false;
};

class HostPiecesTest : public FlowTest {
 protected:
  static constexpr std::chrono::seconds generously{60};

  static CorvaneFactory factoryOn(Platform platform) {
    return CorvaneFactory(
        dataFromText(
            R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
        "flows", "", [] { return WindowHandle::terminal(); }, std::move(platform));
  }

  /// Whether the operation succeeds; false also if it takes for ever.
  template <class Value>
  static bool arrives(const AnyPublisher<Value>& operation) {
    auto end = toFuture(operation);
    return end.wait_for(generously) == std::future_status::ready && end.get().isSuccess();
  }
};

TEST_F(HostPiecesTest, AServiceMayWaitForTheAnswerWithinExecuteQuery) {
  Platform platform = makePlatform();
  platform.makeDriveService = [make = platform.makeDriveService] {
    return std::make_shared<WaitingService>(make());
  };
  auto factory = factoryOn(std::move(platform));
  const auto drive = factory.makeAPI(signIn(factory));
  EXPECT_TRUE(arrives(drive->getFilesPage(std::nullopt)));
  EXPECT_TRUE(arrives(drive->getAbout()));
}

TEST_F(HostPiecesTest, ManyServicesMayWaitAtOnce) {
  Platform platform = makePlatform();
  platform.makeDriveService = [make = platform.makeDriveService] {
    return std::make_shared<WaitingService>(make());
  };
  auto factory = factoryOn(std::move(platform));
  const auto drive = factory.makeAPI(signIn(factory));
  std::vector<std::future<Result<About, AnyError>>> ends;
  for (int i = 0; i < 32; ++i) ends.push_back(toFuture(drive->getAbout()));
  for (auto& end : ends) {
    ASSERT_EQ(end.wait_for(generously), std::future_status::ready);
    EXPECT_TRUE(end.get().isSuccess());
  }
}

TEST_F(HostPiecesTest, ASessionThatWorksOnDelaysNeitherRequestNorAnswer) {
  Platform platform = makePlatform();
  const auto gate = std::make_shared<emulator::Gate>();
  platform.sessionArchive = std::make_shared<LingeringArchive>(platform.sessionArchive, gate);
  auto factory = factoryOn(std::move(platform));
  const auto drive = factory.makeAPI(signIn(factory));
  EXPECT_TRUE(arrives(drive->getAbout())) << "while the session still works on";
  gate->open();
}

TEST_F(HostPiecesTest, ALongBlockBehindOnASerialQueueDoesNotDelayTheRequest) {
  Platform platform = makePlatform();
  const auto serial = std::make_shared<SerialQueue>(platform.userInitiatedQueue);
  platform.userInitiatedQueue = serial;
  auto factory = factoryOn(std::move(platform));
  const auto drive = factory.makeAPI(signIn(factory));
  std::promise<void> begin;
  serial->async(
      [&] { begin.get_future().wait(); });  // so that both are queued when the first begins
  const auto before = google.journal().count();
  auto about = toFuture(drive->getAbout());
  std::promise<bool> arrived;
  serial->async([&] { arrived.set_value(google.journal().waitForCount(before + 1)); });
  begin.set_value();
  EXPECT_TRUE(arrived.get_future().get())
      << "the server sees the request while the long block runs";
  EXPECT_TRUE(about.get().isSuccess());
}

TEST_F(HostPiecesTest, WithoutADescriptorOnlyTheOperationFailsAndALaterOneWorks) {
  if (sanitizersNeedDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  std::optional<Platform> platform(makePlatform());
  auto first = factoryOn(*platform);
  const auto account = signIn(first);
  std::unique_ptr<CorvaneFactory> factory;
  std::shared_ptr<GoogleDriveAPIType> drive;
  {
    const DescriptorLimit none(0);
    factory.reset(new CorvaneFactory(makeFactory()));
    drive = factory->makeAPI(account);
    EXPECT_TRUE(failureOf([&] { get(drive->getAbout()); }));
    EXPECT_TRUE(failureOf([&] { get(drive->deleteFile("f")); }));
  }
  EXPECT_TRUE(arrives(drive->getAbout()));
}

}  // namespace
}  // namespace corvane::test
