#include <CorvaneLinux/SystemPresenter.hpp>

#include "BrowserVariable.hpp"
#include "CommandPresenter.hpp"
#include "PortalPresenter.hpp"

#include <utility>

namespace corvane {

namespace {

/// The end of the chain.
class ShowURLPresenter final : public Presenter {
 public:
  explicit ShowURLPresenter(ShowURL showURL) : showURL_(std::move(showURL)) {}
  std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle&,
                                       UniqueFunction<void()>) override {
    showURL_(url);
    return nullptr;
  }

 private:
  const ShowURL showURL_;
};

}  // namespace

std::shared_ptr<Presenter> makeSystemPresenter(ShowURL showURL, std::string_view browser) {
  std::shared_ptr<Presenter> chain = std::make_shared<ShowURLPresenter>(std::move(showURL));
  auto commands = browserCommands(browser);
  if (commands.empty())
    return std::make_shared<PortalPresenter>(
        std::make_shared<CommandPresenter>(std::move(chain), std::vector<std::string>{"xdg-open"}));
  for (auto command = commands.rbegin(); command != commands.rend(); ++command)
    chain = std::make_shared<CommandPresenter>(std::move(chain), std::move(*command));
  return chain;
}

}  // namespace corvane
