#include "station/service/refusal.h"

#include "client/camera_client.h"
#include "station/runner/hold.h"
#include "station/store/error.h"

namespace station {

http::Reply ProblemOfException() {
  using http::Problem;
  constexpr unsigned kBadRequest = 400;
  constexpr unsigned kConflict = 409;
  constexpr unsigned kUnfit = 422;
  constexpr unsigned kNoRoom = 503;
  try {
    throw;
  } catch (const Refusal& refusal) {
    http::Reply reply = Problem(refusal.status, refusal.title, refusal.what());
    if (refusal.retryAfter > 0) {
      reply.headers.emplace_back("Retry-After", std::to_string(refusal.retryAfter));
    }
    return reply;
  } catch (const RunRefused& refused) {
    return Problem(kConflict, "Not allowed now", refused.what());
  } catch (const client::RefusedError& refused) {
    const bool isOurs = refused.status == kBadRequest || refused.IsUnknown() ||
                        refused.status == kConflict || refused.status == kNoRoom;
    return Problem(isOurs ? refused.status : kUnfit, "Refused by the camera", refused.what());
  } catch (const client::InterruptedError&) {
    return Problem(503, "No answer", "the camera did not answer in time, or the station ends");
  } catch (const client::ConnectionError& error) {
    return Problem(503, "Not reachable",
                   std::string("the camera is not reachable: ") + error.what());
  } catch (const StoreError& error) {
    if (error.kind == StoreError::Kind::Constraint) {
      return Problem(kConflict, "Not allowed now", error.what());
    }
    return Problem(503, "Not kept", std::string("the database does not answer: ") + error.what());
  } catch (const std::exception& error) {
    return Problem(500, "Failed", error.what());
  }
}

}  // namespace station
