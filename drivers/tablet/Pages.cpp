#include "drivers/tablet/Pages.h"

#include <algorithm>

#include "host/interfaces/IInstanceManager.h"

void Pages::Close(unsigned long reader, Time now) {
    const auto page = pages_.find(reader);
    if (page == pages_.end()) return;
    if (!page->second.greeted)
        pages_.erase(page);
    else if (!page->second.gone)
        page->second.gone = now + grace_;
}

bool Pages::Greet(unsigned long reader) {
    const auto page = pages_.find(reader);
    if (page == pages_.end() || page->second.gone) return false;
    page->second.greeted = true;
    return true;
}

// Its stream may still be open, and one that comes back to life says hello again.
bool Pages::Leave(unsigned long reader) {
    const auto page = pages_.find(reader);
    if (page == pages_.end() || !page->second.greeted) return false;
    if (page->second.gone)
        pages_.erase(page);
    else
        page->second.greeted = false;
    return true;
}

std::vector<unsigned long> Pages::TakeGone(Time now) {
    std::vector<unsigned long> gone;
    for (const auto& [reader, page] : pages_)
        if (page.gone && *page.gone <= now) gone.push_back(reader);
    for (const unsigned long reader : gone)
        pages_.erase(reader);
    return gone;
}

std::optional<Pages::Time> Pages::NextTime() const {
    std::optional<Time> next;
    for (const auto& [reader, page] : pages_)
        if (page.gone && (!next || *page.gone < *next)) next = page.gone;
    return next;
}

bool Pages::IsThere(unsigned long reader) const {
    const auto page = pages_.find(reader);
    return page != pages_.end() && page->second.greeted;
}

bool Pages::IsAnybodyThere() const {
    return std::ranges::any_of(pages_, [](const auto& page) { return page.second.greeted; });
}

std::vector<unsigned long> Pages::All() const {
    std::vector<unsigned long> all;
    for (const auto& [reader, page] : pages_)
        if (page.greeted) all.push_back(reader);
    return all;
}

// The host tells of a reader that is gone a little later than it knows.
bool Pages::Send(unsigned long reader, const DvXML::INode& element) {
    const auto page = pages_.find(reader);
    return page != pages_.end() && page->second.greeted && !page->second.gone &&
           instanceManager_.SendDataToReader(reader, element);
}

void Pages::SendAll(const DvXML::INode& element) {
    for (const auto& [reader, page] : pages_)
        Send(reader, element);
}
