// SPDX-License-Identifier: MIT
// The panel: the same page for everybody, without a value in it. What it shows it asks for, as any
// other client does.
#include "api.h"

namespace kvgateway
{

namespace
{

// No script, style or picture from elsewhere, and none within the page. Nothing may frame it: a
// button under somebody else's picture would be pressed by mistake.
constexpr char policy[] = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
                          "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

bool takesDeflate(const Request &request)
{
    for (const QByteArray &coding : request.header("accept-encoding").split(',')) {
        if (coding.trimmed() == "deflate")
            return true;
    }
    return false;
}

} // namespace

// On purpose before the gate: a link in a mail comes from another site, and may open the page. Its
// requests then come from the page itself.
bool Api::answerPanel(const Request &request, const std::shared_ptr<Reply> &reply) const
{
    const Asset *asset = m_panel.find(request.path);
    if (asset == nullptr || (request.method != "GET" && request.method != "HEAD"))
        return false;
    Response response = emptyResponse(200);
    response.headers = {
        {"ETag", asset->tag},
        {"Cache-Control", asset->isForever ? "public, max-age=31536000, immutable" : "no-cache"},
        {"Vary", "Accept-Encoding"},
        {"Content-Security-Policy", policy},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Referrer-Policy", "no-referrer"},
        {"X-Frame-Options", "DENY"},
    };
    if (request.header("if-none-match") == asset->tag) {
        response.status = 304;
    } else {
        const bool isPacked = takesDeflate(request);
        response.contentType = asset->type;
        response.body = isPacked ? asset->packed : asset->body;
        if (isPacked)
            response.headers.emplace_back("Content-Encoding", "deflate");
    }
    reply->send(std::move(response));
    return true;
}

} // namespace kvgateway
