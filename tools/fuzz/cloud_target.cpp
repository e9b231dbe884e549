// What the cloud's server answers, in parts as a library may give them.
#include "cloud/cloud_factory.h"
#include "cloud/cloud_request.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_plugin.h"
#include "tools/fuzz/target.h"

namespace fuzz {

namespace {

struct Part {
    std::string bytes;
    bool isMissing = false;  // has no data, whatever its size says
};

struct Answers final : IVelora {
    void Release() override {}
    void Reserved1() override {}
    void Reserved2() override {}
    void Reserved3() override {}
    int32_t Ask(VeloraRequest*, VeloraResponse** response) override {
        if (error == 0) *response = reinterpret_cast<VeloraResponse*>(this);
        return error;
    }
    VeloraRequest* RequestCreate() override {
        return isShort ? nullptr : reinterpret_cast<VeloraRequest*>(this);
    }
    void RequestDestroy(VeloraRequest*) override {}
    void RequestSetTimeout(VeloraRequest*, uint32_t) override {}
    void Reserved8() override {}
    void RequestSetTarget(VeloraRequest*, const char*) override {}
    void Reserved10() override {}
    void Reserved11() override {}
    void Reserved12() override {}
    void RequestSetBody(VeloraRequest*, const void*, uint32_t) override {}
    void FreeResponse(VeloraResponse*) override {}
    int32_t ResponseGetStatus(VeloraResponse*) override { return status; }
    int32_t ResponseGetPart(VeloraResponse*, uint32_t index, const void** data,
                            uint32_t* sizeBytes) override {
        if (index >= parts.size()) return kNoMoreParts;
        if (!parts[index].isMissing) *data = parts[index].bytes.data();
        *sizeBytes = static_cast<uint32_t>(parts[index].bytes.size());
        return static_cast<int32_t>(index);
    }

    std::vector<Part> parts;
    int32_t error = 0;
    int32_t status = 0;
    bool isShort = false;
};

struct Cloud final : test_support::FakePlugin<ICloud> {
    void Reserved5() override {}
    void* GetInterface(const wchar_t*) override { return &answers; }
    Answers answers;
};

class CloudAnswers final : public Target {
public:
    CloudAnswers() : m_isReady(_Begin()) {}
    ~CloudAnswers() override { optimizer::CCloudFactory::GetInstance().Free(); }

    bool Try(Hostile& hostile) override {
        Answers& answers = m_cloud.answers;
        answers.error = hostile.OneIn(8) ? static_cast<int32_t>(hostile.Number()) : 0;
        answers.status = hostile.OneIn(8) ? static_cast<int32_t>(hostile.Number()) : 0;
        answers.isShort = hostile.OneIn(50);
        answers.parts.clear();
        for (uint32_t count = hostile.Below(6); count > 0; --count)
            answers.parts.push_back({hostile.Json(), hostile.OneIn(8)});
        for (const Part& part : answers.parts)
            hostile.Note(part.bytes);
        std::string response;
        // The body is searched for what mustn't be traced, whoever wrote it.
        optimizer::CCloudRequest("services/optimizer", nullptr).Exec(hostile.Json(), response);
        return !response.empty();
    }
    bool IsSound() override {
        m_cloud.answers = {};
        m_cloud.answers.parts = {{"tha"}, {"nks"}};
        std::string response;
        optimizer::CCloudRequest("services/optimizer", nullptr).Exec("{}", response);
        return m_isReady && response == "thanks";
    }

private:
    bool _Begin() {
        m_host.manager.plugins = {{L"icloud", &m_cloud}};
        return optimizer::CCloudFactory::GetInstance().Init(&m_host.manager) == 0;
    }

    test_support::FakeHost m_host;
    Cloud m_cloud;
    bool m_isReady = false;
};

}  // namespace

std::unique_ptr<Target> MakeCloudAnswers() {
    return std::make_unique<CloudAnswers>();
}

}  // namespace fuzz
