#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/socket/SocketService.h>
#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ApiConfiguration.h>

#include <iostream>

int main()
{
    using namespace com::vantorel::lithmar;
    auto configuration = std::make_shared<ApiConfiguration>();
    configuration->setBaseUrl(L"http://127.0.0.1:1/data-xchng");
    exploration::api::DataExchangeApi api(std::make_shared<ApiClient>(configuration));
    api.setAsyncResponseTimeOut(60);
    std::cout << "time-out " << api.getAsyncResponseTimeOut() << "\n";
    // The socket library is installed and found: a call without a user is
    // refused without connecting.
    const bool listening =
        SocketService::Connect(nullptr, "ticket", "http://127.0.0.1:1/gate", 60, dispatchNotification);
    std::cout << "socket without a user: " << (listening ? "listening" : "refused") << "\n";
    return api.getAsyncResponseTimeOut() == 60 && !listening ? 0 : 1;
}
