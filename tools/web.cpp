// SPDX-License-Identifier: Apache-2.0
// One thread collects for all who look; each of those waits for what is new. While nobody looks it only keeps the past.
#include "tools/web.h"

#include "tools/error.h"

#ifndef DORVALD_HTTP

int ctlServeWeb(const ctlWeb_t &, std::ostream &)
{
    ctlRefuse("this dorvctl has no page: it was built without cpp-httplib (Debian: libcpp-httplib-dev)");
}

#else

#include <condition_variable>
#include <csignal>
#include <memory>
#include <mutex>
#include <thread>

#include "tools/exporter.h"
#include "tools/http.h"
#include "tools/live.h"
#include "tools/text.h"
#include "tools/web_files.h"

namespace {

constexpr size_t VIEWERS = 16;
constexpr std::chrono::seconds SILENCE{15}; // after so long without news a line of no meaning keeps the stream open

class studio_t {
public:
    studio_t(const ctlWeb_t &asked, std::shared_ptr<std::mutex> one)
        : interval_(asked.interval), live_{asked.slot, asked.timeout}, one_(std::move(one)), thread_([this] { work(); })
    {
    }
    ~studio_t() { end(); }
    studio_t(const studio_t &) = delete;
    studio_t &operator=(const studio_t &) = delete;

    void end()
    {
        {
            const std::lock_guard lock(lock_);
            ended_ = true;
        }
        news_.notify_all();
        if (thread_.joinable())
            thread_.join();
    }

    std::string newest()
    {
        std::unique_lock lock(lock_);
        news_.wait(lock, [&] { return ended_ || number_ > 0; });
        return frame_;
    }

    ctlHttpStream_t viewer(const std::string &port);

private:
    struct port_t {
        unsigned viewers = 0;
        uint64_t version = 0; // of the text, 0 for none yet
        std::string text{};
    };
    struct viewer_t;

    void work();
    void collect();
    void tellPorts(bool all);

    const double interval_;
    ctlLive_t live_; // the thread's alone
    std::shared_ptr<std::mutex> one_;
    std::mutex lock_; // what follows
    std::condition_variable news_;
    bool ended_ = false, asked_ = false; // asked_: a port that was not told yet
    unsigned viewers_ = 0;
    uint64_t number_ = 0;
    std::string frame_;
    std::map<uint32_t, port_t> ports_;
    std::thread thread_; // begins when all of that is there
};

struct studio_t::viewer_t {
    studio_t &studio;
    uint32_t port; // 0 for none
    uint64_t seen = 0, version = 0;
    viewer_t(studio_t &home, uint32_t chosen) : studio(home), port(chosen)
    {
        const std::lock_guard lock(studio.lock_);
        studio.viewers_++;
        if (port != 0 && studio.ports_[port].viewers++ == 0)
            studio.asked_ = true;
        studio.news_.notify_all();
    }
    viewer_t(const viewer_t &) = delete;
    viewer_t &operator=(const viewer_t &) = delete;
    ~viewer_t()
    {
        const std::lock_guard lock(studio.lock_);
        studio.viewers_--;
        if (port != 0 && --studio.ports_[port].viewers == 0)
            studio.ports_.erase(port);
    }
    std::optional<std::string> next()
    {
        std::unique_lock lock(studio.lock_);
        const auto versionNow = [&] { return port != 0 ? studio.ports_[port].version : 0; };
        const bool any = studio.news_.wait_for(
            lock, SILENCE, [&] { return studio.ended_ || studio.number_ != seen || versionNow() != version; });
        if (studio.ended_)
            return std::nullopt;
        std::string text = any ? "" : ":\n\n";
        if (studio.number_ != seen)
            text += "data: " + studio.frame_ + "\n\n";
        if (versionNow() != version)
            text += "event: port\ndata: " + studio.ports_[port].text + "\n\n";
        seen = studio.number_;
        version = versionNow();
        return text;
    }
};

ctlHttpStream_t studio_t::viewer(const std::string &port)
{
    const auto each =
        std::make_shared<viewer_t>(*this, static_cast<uint32_t>(ctlParseNumber(port, UINT32_MAX).value_or(0)));
    return [each] { return each->next(); };
}

void studio_t::collect()
{
    std::string text;
    {
        const std::lock_guard alone(*one_);
        text = ctlLiveText(ctlLiveFrame(live_));
    }
    const std::lock_guard lock(lock_);
    frame_ = std::move(text);
    number_++;
    news_.notify_all();
}

// Ports that somebody looks at: all of them, or those that were not told yet.
void studio_t::tellPorts(bool all)
{
    std::vector<uint32_t> wanted;
    {
        const std::lock_guard lock(lock_);
        asked_ = false;
        for (const auto &[port, each] : ports_)
            if (all || each.version == 0)
                wanted.push_back(port);
    }
    for (const uint32_t port : wanted) {
        std::string text;
        {
            const std::lock_guard alone(*one_);
            text = ctlLiveText(ctlLivePort(live_, port));
        }
        const std::lock_guard lock(lock_);
        const auto found = ports_.find(port);
        if (found == ports_.end())
            continue;
        found->second.text = std::move(text);
        found->second.version++;
        news_.notify_all();
    }
}

void studio_t::work()
{
    uint64_t told = 0;
    for (;;) {
        const auto begun = ctlClock::now();
        collect();
        tellPorts(live_.step != told);
        told = live_.step;
        const auto after = [&](double seconds) {
            return begun + std::chrono::duration_cast<ctlClock::duration>(std::chrono::duration<double>(seconds));
        };
        std::unique_lock lock(lock_);
        for (;;) {
            const double pause = viewers_ > 0 ? interval_ : std::max<double>(CTL_LIVE_STEP, interval_);
            if (ended_)
                return;
            if (ctlClock::now() >= after(pause))
                break;
            const unsigned before = viewers_;
            news_.wait_until(lock, after(pause), [&] { return ended_ || asked_ || viewers_ > before; });
            if (asked_ && !ended_) {
                lock.unlock();
                tellPorts(false);
                lock.lock();
            }
        }
    }
}

// The page with the newest frame in it, so that it is whole at once.
std::string pageWith(const std::string &frame)
{
    constexpr std::string_view place = "@FRAME@";
    std::string page(WEB_PAGE, sizeof WEB_PAGE);
    return page.replace(page.find(place), place.size(), frame);
}

template <size_t Size>
ctlHttpPath_t fileAt(const char *path, const char *type, const char (&bytes)[Size])
{
    return {path, [type, body = std::string(bytes, Size)](const ctlHttpAsked_t &) {
                return ctlHttpPage_t{type, body};
            }};
}

} // namespace

int ctlServeWeb(const ctlWeb_t &asked, std::ostream &out)
{
    // The thread that collects is to have no signals either.
    sigset_t ends, before;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, &before);
    const auto one = std::make_shared<std::mutex>();
    studio_t studio(asked, one);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    ctlHttp_t http{asked.listen, "/", {}, VIEWERS, [&] { studio.end(); }, true, asked.names};
    http.paths.push_back({"/", [&](const ctlHttpAsked_t &) {
                              return ctlHttpPage_t{"text/html; charset=utf-8", pageWith(studio.newest())};
                          }});
    http.paths.push_back(fileAt("/page.css", "text/css; charset=utf-8", WEB_STYLE));
    http.paths.push_back(fileAt("/page.js", "text/javascript; charset=utf-8", WEB_SCRIPT));
    http.paths.push_back(
        {"/live", nullptr, [&](const ctlHttpAsked_t &request) { return studio.viewer(request.port); }});
    http.paths.push_back(ctlMetricsPath({asked.listen, asked.slot, asked.timeout}, one));
    return ctlServeHttp(http, out);
}

#endif
