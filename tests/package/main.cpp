#include <lithmar/exchange/api/DataExchangeApi.h>
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
    return api.getAsyncResponseTimeOut() == 60 ? 0 : 1;
}
