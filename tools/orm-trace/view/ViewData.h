// The data of the page, by name.
#pragma once

#include <string>

#include "tools/orm-trace/view/CaptureView.h"
#include "tools/orm-trace/view/PageResponder.h"

namespace orm_trace {

class ViewData : public PageData {
public:
    // view: outlives this. path: the file, as commands name it.
    ViewData(const CaptureView& view, std::string path) : m_view(view), m_path(std::move(path)) {}

    // A question with other members than it should have is refused; one that the file does not answer any more is a
    // conflict.
    Answer Ask(const std::string& name, const Query& query) override;

private:
    std::string Text(const std::string& name, const Query& query) const;

    const CaptureView& m_view;
    std::string m_path;
};

}  // namespace orm_trace
