#include "host/net/Follower.h"

#include <fmt/format.h>

#include "kep/Messages.h"

namespace replication {

namespace {

constexpr auto kRequestInterval = std::chrono::seconds(1);
// A server in its run is heard at least every heartbeat (a quarter second), and
// answers a request within a second: silence past these means a connection that
// ZeroMQ closed and will not open again (after a message over the limit), so the
// follower connects again itself.
constexpr auto kSilenceBeforeReconnecting = std::chrono::seconds(2);
constexpr auto kAnswerBeforeReconnecting = std::chrono::seconds(3);
// A server tells its end for a few seconds; past this, a follower that has not
// caught up with it will not.
constexpr auto kEndWait = std::chrono::seconds(4);
// Batches an answer may carry after its snapshot: as many as a relay holds.
constexpr std::size_t kMostFollowing = 8192;
// Faults logged one by one before they are only counted.
constexpr int kMaxLoggedFaults = 20;

}  // namespace

Follower::Follower(ReplicationClient& client, MemoryGuard& memory, std::string endpoint,
                   std::chrono::duration<double> timeout, Hooks hooks)
    : client_(client),
      memory_(memory),
      endpoint_(std::move(endpoint)),
      timeout_(timeout),
      hooks_(std::move(hooks)),
      feed_(hooks_.apply, {}),
      started_(Clock::now()),
      lastRequest_(started_ - kRequestInterval) {}

void Follower::ReceiveUntil(Clock::time_point deadline) {
    client_.ReceiveUntil(deadline, [this](auto parts, bool answer) { Receive(parts, answer); });
}

Follower::Outcome Follower::Step() {
    const auto now = Clock::now();
    if (!KeepConnected(now)) {
        return Outcome::Failed;
    }
    if (feed_.waiting() && client_.subscribed() && now - lastRequest_ >= kRequestInterval) {
        Request(now);
        firstUnanswered_ = firstUnanswered_.value_or(now);
    }
    if (!feed_.waiting()) {
        firstUnanswered_.reset();
    }
    if (feed_.ended()) {
        return Outcome::Ended;
    }
    if (feed_.endSequence() && !endHeard_) {
        endHeard_ = now;
    }
    if (endHeard_ && now - *endHeard_ >= kEndWait) {
        failure_ = fmt::format(
            "kep-host: the server at {} ended its run at batch {}, but this instance could not "
            "get in step with it (it applied up to batch {}): its state is not the server's",
            endpoint_, *feed_.endSequence(), feed_.sequence());
        return Outcome::Failed;
    }
    if (!feed_.synchronised() && !endHeard_ && now - started_ >= timeout_) {
        failure_ = fmt::format(
            "kep-host: no answer from a server at {} within {} s (is it running, and does it "
            "admit this joiner's --curve-keys?)",
            endpoint_, timeout_.count());
        return Outcome::Failed;
    }
    // A server in its run is heard at least every heartbeat.
    if (feed_.synchronised() && now - lastHeard_ >= timeout_) {
        failure_ = fmt::format("kep-host: the server at {} has not been heard for {} s; leaving",
                               endpoint_, timeout_.count());
        return Outcome::Failed;
    }
    return Outcome::Running;
}

void Follower::Request(Clock::time_point now) {
    client_.RequestSnapshot(feed_.NewRequest());
    lastRequest_ = now;
}

void Follower::AskAgain() {
    const auto now = Clock::now();
    if (!feed_.waiting() && now - lastRequest_ >= kRequestInterval) {
        Request(now);
        ownRequest_ = feed_.requestId();
    }
}

// Connects again when the server has fallen silent, or has not answered, for
// longer than it would, or when it has made this process hold too much; false if
// closing the connections did not free that memory.
bool Follower::KeepConnected(Clock::time_point now) {
    if (closed_) {
        if (now - *closed_ < MemoryGuard::kSettleTime) {
            return true;
        }
        // A relay's own joiners are the likelier cause: its upstream is closed only
        // if closing theirs was not enough.
        if (hooks_.connections && !upstreamClosed_ && !memory_.Recovered()) {
            client_.Close();
            upstreamClosed_ = true;
            closed_ = now;
            return true;
        }
        const bool settled = !upstreamClosed_ || memory_.Settled();
        if (!settled && !hooks_.connections) {
            failure_ = fmt::format(
                "kep-host: {} MiB resident, and closing the connections to {} freed too little: "
                "the server makes this instance hold memory it cannot give back; leaving",
                memory_.resident() >> 20, endpoint_);
            return false;
        }
        if (!settled) {
            kep::Warning()(
                "kep-host: {} MiB resident with every connection closed: the relay holds that "
                "much itself",
                memory_.resident() >> 20);
        }
        if (upstreamClosed_) {
            client_.Open();
            lastReconnect_ = now;
        }
        if (hooks_.connections) {
            hooks_.connections(true);
        }
        closed_.reset();
        return true;
    }
    if (memory_.Breached()) {
        kep::Warning()(
            "kep-host: {} MiB resident, more than this {} allows beyond its own: {} closed and "
            "opened again",
            memory_.resident() >> 20, hooks_.connections ? "relay" : "joiner",
            hooks_.connections ? "its joiners' connections are"
                               : fmt::format("every connection to {} is", endpoint_));
        if (hooks_.connections) {
            hooks_.connections(false);
            upstreamClosed_ = false;
        } else {
            client_.Close();
            upstreamClosed_ = true;
        }
        closed_ = now;
        firstUnanswered_.reset();
        return true;
    }
    if (now - lastReconnect_ < kAnswerBeforeReconnecting) {
        return true;
    }
    if (heard_ && now - lastHeard_ >= kSilenceBeforeReconnecting) {
        kep::Info()("kep-host: nothing heard from {} for 2 s; connecting again", endpoint_);
    } else if (firstUnanswered_ && now - *firstUnanswered_ >= kAnswerBeforeReconnecting) {
        kep::Info()(
            "kep-host: no answer from {} for 3 s (an answer over --max-snapshot-mb closes the "
            "connection); connecting again",
            endpoint_);
    } else {
        return true;
    }
    client_.Reconnect();
    lastReconnect_ = now;
    firstUnanswered_.reset();
    return true;
}

void Follower::Receive(Parts parts, bool answer) {
    std::string error;
    if (answer ? ReceiveAnswer(parts, error) : ReceivePublished(parts, error)) {
        lastHeard_ = Clock::now();
        heard_ = true;
    } else if (++faults_ <= kMaxLoggedFaults) {
        kep::Warning()("kep-host: dropped a message from {}: {}{}", endpoint_, error,
                       faults_ == kMaxLoggedFaults ? " (further ones are not logged)" : "");
    }
}

// A batch, heartbeat or end.
bool Follower::ReceivePublished(Parts parts, std::string& error) {
    const auto frame = parts.size() == 1 ? DecodeFrame(parts[0], error) : std::nullopt;
    if (!frame) {
        error = parts.size() == 1 ? error : fmt::format("{} parts", parts.size());
        return false;
    }
    const FrameKind kind = frame->header.kind;
    if (kind != FrameKind::Batch && kind != FrameKind::Heartbeat && kind != FrameKind::End) {
        error = fmt::format("a {} from the publisher", KindName(kind));
        return false;
    }
    if (hooks_.published) {
        hooks_.published(*frame);
    }
    const std::uint64_t sequence = feed_.sequence(), resyncs = feed_.resyncs();
    feed_.Receive(frame->header, frame->payload);
    if (feed_.resyncs() != resyncs) {
        kep::Info()(
            "kep-host: out of step at batch {}, after a {} of batch {}; asking for a "
            "snapshot",
            sequence, KindName(kind), frame->header.sequence);
    }
    return true;
}

// A snapshot, the source settings that go with it, and the batches after it.
bool Follower::ReceiveAnswer(Parts parts, std::string& error) {
    if (parts.size() < 2) {
        error = fmt::format("an answer of {} parts", parts.size());
        return false;
    }
    const auto snapshot = DecodeFrame(parts[0], error);
    const auto extra = snapshot ? DecodeFrame(parts[1], error) : std::nullopt;
    auto settings = extra ? DecodeSourceSettings(extra->payload, error) : std::nullopt;
    if (!settings) {
        return false;
    }
    if (snapshot->header.kind != FrameKind::Snapshot ||
        extra->header.kind != FrameKind::SourceSettings ||
        extra->header.epoch != snapshot->header.epoch ||
        extra->header.sequence != snapshot->header.sequence) {
        error = "an answer that is not a snapshot and its source settings";
        return false;
    }
    if (parts.size() - 2 > kMostFollowing) {
        error = fmt::format("an answer with {} batches after its snapshot", parts.size() - 2);
        return false;
    }
    Answer answer{*snapshot, *extra, std::move(*settings), {}};
    for (const auto part : parts.subspan(2)) {
        auto batch = DecodeFrame(part, error);
        if (!batch || batch->header.kind != FrameKind::Batch) {
            error =
                batch ? "an answer with something other than batches after its snapshot" : error;
            return false;
        }
        answer.following.push_back(*batch);
    }
    if (feed_.waiting()) {
        feed_.ReceiveSnapshot(snapshot->header, snapshot->payload, answer.settings.requestId,
                              extra->payload, answer.following);
    } else if (answer.settings.requestId == ownRequest_ && ownRequest_ != 0 && hooks_.answered) {
        ownRequest_ = 0;
        hooks_.answered(answer);
    }
    return true;
}

}  // namespace replication
