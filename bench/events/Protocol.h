// What event readers say and hear: server-sent events of the driver host, or MQTT 3.1.1.
#ifndef BENCH_EVENTS_PROTOCOL_H
#define BENCH_EVENTS_PROTOCOL_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

class Protocol {
public:
    virtual ~Protocol() = default;

    /// What reader number `number` sends first; one that takes the past gets all that is kept.
    virtual std::string Hello(std::size_t number, bool takesThePast) const = 0;
    /// The bytes that the answer to it takes at the beginning of the text; 0 when more must come.
    virtual std::size_t GreetingBytes(std::string_view text) const = 0;
    /// The same for what follows; `isEvent` tells whether it is an event.
    virtual std::size_t PieceBytes(std::string_view text, bool& isEvent) const = 0;

    /// What the one who causes an event sends first, and what then for each.
    virtual std::string TriggerHello() const = 0;
    virtual std::string Trigger() const = 0;
    /// True when each of the two is answered, in one piece.
    virtual bool AnswersTriggerHello() const = 0;
    virtual bool AnswersTrigger() const = 0;
};

/// The driver host: the event is a changed property of the driver `panel1`.
std::unique_ptr<Protocol> MakeServerSentEvents();
/// A broker: the event is a message of the same text, quality of service 0.
std::unique_ptr<Protocol> MakeMqtt();

#endif
