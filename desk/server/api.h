// What the network face answers, apart from sockets: paths, JSON, problems.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "http/message.h"
#include "http/target.h"
#include "server/lease.h"

namespace desk {

enum class TraceWish;

class Camera;

class Api {
 public:
  // Threads that no quick read needs. aside: for what takes a while and ends; longer: for what may
  // wait for ever, false where there is none.
  struct Threads {
    std::function<void(std::function<void()>)> aside;
    std::function<bool(std::function<void()>)> longer;
  };

  static constexpr int kMostDepth = 32;       // of JSON that is asked for
  static constexpr int kMostLongWrites = 32;  // deliveries and camera-wide writes at once

  Api(Camera& camera, Threads threads);

  // send is called once: at once where the answer is quick, else on another thread.
  void Handle(const http::Request& request, const http::Send& send);

 private:
  void HandleTree(const http::Request& request, bool isTask, std::string_view path,
                  const http::Target& target, const http::Send& send);
  void ReadNode(bool isTask, std::string_view path, const http::Target& target,
                const http::Send& send);
  void WriteTask(const http::Request& request, std::string_view path, TraceWish trace,
                 const http::Send& send);
  void WriteCamera(const http::Request& request, std::string_view path, const http::Send& send);
  void SendScreen(bool viewFinder, const http::Send& send);
  http::Reply DialogReply() const;
  http::Reply Events(const http::Request& request, const http::Target& target) const;
  void SendFile(const std::string& path, const http::Send& send);
  http::Reply FileReply(const std::string& path) const;

  http::Reply LeaseReply();
  http::Reply TakeLease(const std::string& body);

  class Room;
  std::shared_ptr<Room> TakeRoom();

  Camera& mCamera;
  Threads mThreads;
  Lease mLease;
  std::atomic<int> mLongWrites{0};
};

}  // namespace desk
