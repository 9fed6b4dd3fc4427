#include "Timing.h"

#include "ggml-cpp.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <vector>

namespace {

// The encoder looks at 1500 frames, whatever is said, and attends to them padded to a multiple of
// 256.
constexpr int frameCount = 1500;
constexpr int paddedFrameCount = 1536;
constexpr int headSize = 64; // of every public model
constexpr int widths[] = {384, 512, 768, 1024, 1280};
constexpr ggml_type types[] = {GGML_TYPE_Q5_0, GGML_TYPE_Q8_0, GGML_TYPE_Q5_1, GGML_TYPE_F16};
// Of the other work of a layer, one with few heads costs a device the same for each of them.
constexpr int layerWidth = 384;
constexpr double layerShare = 4; // of the time, where each product has one
// All is gone through several times, so that what else the machine does for a moment spoils no
// figure.
constexpr int passes = 3;
constexpr double shares = layerShare + std::size(widths) * std::size(types);

double now() {
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(time).count();
}

/// A graph, its tensors and their memory. The weights may lie in a buffer of their own.
class Work {
public:
    Work()
        : m_context(ggml_init({ggml_tensor_overhead() * 64 + ggml_graph_overhead_custom(512, false),
                               nullptr, true}))
        , m_graph(ggml_new_graph_custom(m_context.get(), 512, false)) {}

    [[nodiscard]] ggml_context* context() const { return m_context.get(); }
    [[nodiscard]] ggml_cgraph* graph() const { return m_graph; }

    /// Gives every tensor memory that has none.
    void allocate(ggml_backend_t backend) {
        m_buffer.reset(ggml_backend_alloc_ctx_tensors(m_context.get(), backend));
        if (!m_buffer) throw std::runtime_error("the device has too little memory");
    }

    void run(ggml_backend_t backend) const {
        if (ggml_backend_graph_compute(backend, m_graph) != GGML_STATUS_SUCCESS)
            throw std::runtime_error("the device failed at a computation");
        ggml_backend_synchronize(backend);
    }

private:
    ggml_context_ptr m_context;
    ggml_cgraph* m_graph;
    ggml_backend_buffer_ptr m_buffer;
};

/// Values between -1 and 1 without a pattern that a processor could make use of.
std::vector<float> noise(size_t count) {
    std::vector<float> values(count);
    uint32_t state = 1;
    for (float& value : values) {
        state = state * 1664525 + 1013904223;
        value = static_cast<float>(state >> 8) / 8388608.0F - 1;
    }
    return values;
}

void fill(ggml_tensor* tensor) {
    const std::vector<float> row = noise(static_cast<size_t>(tensor->ne[0]));
    std::vector<uint8_t> packed(ggml_row_size(tensor->type, tensor->ne[0]));
    ggml_quantize_chunk(tensor->type, row.data(), packed.data(), 0, 1, tensor->ne[0], nullptr);
    std::vector<uint8_t> all;
    all.reserve(ggml_nbytes(tensor));
    for (int64_t i = 0; i < ggml_nrows(tensor); ++i)
        all.insert(all.end(), packed.begin(), packed.end());
    ggml_backend_tensor_set(tensor, all.data(), 0, all.size());
}

/// The buffers that a processor's weights may lie in, the best first (some are kept rearranged).
std::vector<ggml_backend_buffer_type_t> weightBuffers(ggml_backend_dev_t device) {
    std::vector<ggml_backend_buffer_type_t> found;
    const auto extra =
        reinterpret_cast<ggml_backend_dev_get_extra_bufts_t>(ggml_backend_reg_get_proc_address(
            ggml_backend_dev_backend_reg(device), "ggml_backend_dev_get_extra_bufts"));
    if (ggml_backend_dev_type(device) == GGML_BACKEND_DEVICE_TYPE_CPU && extra) {
        for (ggml_backend_buffer_type_t* each = extra(device); each && *each; ++each)
            found.push_back(*each);
    }
    return found;
}

/// One product of weights, width by width, with the values of some frames.
class Product {
public:
    Product(ggml_backend_t backend, ggml_type type, int width, int frames)
        : m_backend(backend)
        , m_operations(2.0 * width * width * frames) {
        ggml_tensor* weights = ggml_new_tensor_2d(m_weights.context(), type, width, width);
        ggml_tensor* values = ggml_new_tensor_2d(m_work.context(), GGML_TYPE_F32, width, frames);
        m_product = ggml_mul_mat(m_work.context(), weights, values);
        place(weights, m_product);
        m_work.allocate(backend);
        fill(values);
        ggml_build_forward_expand(m_work.graph(), m_product);
    }

    /// Does it so many times more in each run. A graph of one product tells how long it takes to
    /// ask a GPU for anything; the encoder's has hundreds.
    void repeat(int times) {
        for (int i = 0; i < times; ++i) ggml_graph_add_node(m_work.graph(), m_product);
        m_operations *= 1 + times;
    }

    /// Seconds that it took.
    double run() const {
        const double start = now();
        m_work.run(m_backend);
        return now() - start;
    }

    /// Of one run.
    [[nodiscard]] double operations() const { return m_operations; }

private:
    void place(ggml_tensor* weights, ggml_tensor* product) {
        ggml_backend_dev_t device = ggml_backend_get_device(m_backend);
        for (ggml_backend_buffer_type_t type : weightBuffers(device)) {
            // Whether it takes them is asked of a tensor that lies in such a buffer.
            ggml_backend_buffer_ptr trial(ggml_backend_buft_alloc_buffer(type, 0));
            weights->buffer = trial.get();
            const bool taken = trial && ggml_backend_dev_supports_op(device, product);
            weights->buffer = nullptr;
            if (!taken) continue;
            m_special.reset(ggml_backend_alloc_ctx_tensors_from_buft(m_weights.context(), type));
            if (m_special) break;
        }
        if (!m_special) m_weights.allocate(m_backend);
        if (!ggml_backend_dev_supports_op(device, product))
            throw std::runtime_error("the device does not know this type of weights");
        fill(weights);
    }

    ggml_backend_t m_backend;
    double m_operations;
    ggml_tensor* m_product = nullptr;
    Work m_weights;
    ggml_backend_buffer_ptr m_special;
    Work m_work;
};

/// What a layer of the encoder does beside its products with weights, for the queries of some
/// frames.
class Layer {
public:
    Layer(ggml_backend_t backend, int width, int frames)
        : m_backend(backend) {
        ggml_context* context = m_work.context();
        const int heads = width / headSize;
        ggml_tensor* input = ggml_new_tensor_2d(context, GGML_TYPE_F32, width, frames);
        ggml_tensor* hidden = ggml_new_tensor_2d(context, GGML_TYPE_F32, 4 * width, frames);
        ggml_tensor* gain = ggml_new_tensor_1d(context, GGML_TYPE_F32, width);
        ggml_tensor* wideGain = ggml_new_tensor_1d(context, GGML_TYPE_F32, 4 * width);
        ggml_tensor* keys =
            ggml_new_tensor_3d(context, GGML_TYPE_F16, headSize, paddedFrameCount, heads);
        ggml_tensor* values =
            ggml_new_tensor_3d(context, GGML_TYPE_F16, headSize, paddedFrameCount, heads);
        ggml_tensor* kept = ggml_new_tensor_2d(context, GGML_TYPE_F16, width, frames);
        const auto biased = [&](ggml_tensor* x) { return ggml_add(context, x, gain); };
        const auto normal = [&](ggml_tensor* x) {
            return biased(ggml_mul(context, ggml_norm(context, x, 1e-5F), gain));
        };
        ggml_tensor* first = normal(input);
        ggml_build_forward_expand(graph(), ggml_cpy(context, first, kept));
        ggml_build_forward_expand(graph(), ggml_cpy(context, biased(first), kept));
        ggml_tensor* queries = ggml_permute(
            context, ggml_reshape_3d(context, biased(first), headSize, heads, frames), 0, 2, 1, 3);
        ggml_tensor* attention = ggml_flash_attn_ext(context, queries, keys, values, nullptr,
                                                     1 / std::sqrt(float(headSize)), 0, 0);
        m_known = ggml_backend_supports_op(backend, attention);
        if (!m_known) return;
        ggml_tensor* attended =
            ggml_add(context, biased(ggml_reshape_2d(context, attention, width, frames)), input);
        ggml_build_forward_expand(graph(), biased(normal(attended)));
        ggml_build_forward_expand(graph(), ggml_gelu(context, ggml_add(context, hidden, wideGain)));
        ggml_build_forward_expand(graph(), ggml_add(context, attended, input));
        m_work.allocate(backend);
        for (ggml_tensor* each : {input, hidden, gain, wideGain, keys, values}) fill(each);
    }

    /// Whether the device can do all of it.
    [[nodiscard]] bool isKnown() const { return m_known; }

    /// Seconds that it took.
    double run() const {
        const double start = now();
        m_work.run(m_backend);
        return now() - start;
    }

private:
    [[nodiscard]] ggml_cgraph* graph() const { return m_work.graph(); }

    ggml_backend_t m_backend;
    Work m_work;
    bool m_known = false;
};

/// One device's measurement, job by job.
class Bench {
public:
    Bench(ggml_backend_dev_t device, ggml_backend_t backend, int threads)
        : m_backend(backend)
        , m_isProcessor(ggml_backend_dev_type(device) == GGML_BACKEND_DEVICE_TYPE_CPU)
        , m_threads(threads) {}

    /// A first look at the smallest product, for how much of the others there is time for.
    void look(double seconds, Speed& speed) {
        const Product product(m_backend, types[0], widths[0], m_isProcessor ? 64 : frameCount);
        speed.firstSeconds = product.run();
        m_rate = product.operations() / fastest(product, seconds);
    }

    void product(ggml_type type, int width, double seconds, double& gflops) {
        const double whole = 2.0 * width * width * frameCount / m_rate;
        Product product(m_backend, type, width, affordable(whole, seconds));
        if (!m_isProcessor) {
            product.run(); // compiles, maybe
            product.repeat(std::clamp(static_cast<int>(seconds / 4 / product.run()), 0, 64));
        }
        gflops = std::max(gflops, product.operations() / fastest(product, seconds) / 1e9);
    }

    void layer(double seconds, double& nanoseconds) {
        // Attention is slower than the products, by some two times.
        const double whole = 4.0 * frameCount * frameCount * layerWidth / (m_rate / 2);
        const int frames = affordable(whole, seconds);
        const Layer layer(m_backend, layerWidth, frames);
        if (!layer.isKnown()) return;
        const double found = fastest(layer, seconds) * frameCount / frames / layerWidth * 1e9;
        nanoseconds = nanoseconds > 0 ? std::min(nanoseconds, found) : found;
    }

    /// What the threads were given of the time in which they computed.
    [[nodiscard]] double processorShare() const {
        return std::min(1.0, m_processorSeconds / (m_wallSeconds * m_threads));
    }

private:
    /// The shortest of the times of as many runs as there is time for, after one that does not
    /// count: what else the machine does can only lengthen them.
    template <typename Job>
    double fastest(const Job& job, double seconds) {
        job.run();
        const double start = now();
        const std::clock_t used = std::clock();
        double best = std::numeric_limits<double>::max();
        double last = 0;
        do {
            last = job.run();
            best = std::min(best, last);
        } while (now() - start + last < seconds);
        m_processorSeconds += static_cast<double>(std::clock() - used) / CLOCKS_PER_SEC;
        m_wallSeconds += now() - start;
        return best;
    }

    /// How many frames a job may have so that it is done four times in its time, where all of them
    /// would take `whole` seconds: a multiple of 64, a processor's tile of attention.
    [[nodiscard]] int affordable(double whole, double seconds) const {
        const double frames = frameCount * seconds / (4 * whole);
        const int least = m_isProcessor ? 64 : 512; // a GPU has much to do at once, or is slow
        return frames >= frameCount ? frameCount
                                    : std::max(least, static_cast<int>(frames) / 64 * 64);
    }

    ggml_backend_t m_backend;
    bool m_isProcessor;
    int m_threads;
    double m_rate = 0; ///< operations in a second, of the first look
    double m_processorSeconds = 0;
    double m_wallSeconds = 0;
};

void setThreads(ggml_backend_t backend, ggml_backend_dev_t device, int threads) {
    const auto set =
        reinterpret_cast<ggml_backend_set_n_threads_t>(ggml_backend_reg_get_proc_address(
            ggml_backend_dev_backend_reg(device), "ggml_backend_set_n_threads"));
    if (set) set(backend, threads);
}

} // namespace

Speed measure(ggml_backend_dev_t device, int threads, double seconds) {
    const double start = now();
    const ggml_backend_ptr backend(ggml_backend_dev_init(device, nullptr));
    if (!backend) throw std::runtime_error("the device cannot be used");
    setThreads(backend.get(), device, threads);

    Speed speed;
    Bench bench(device, backend.get(), threads);
    bench.look(seconds / shares, speed);
    const double share = seconds / shares / passes;
    for (int pass = 0; pass < passes && (pass == 0 || now() - start < 2 * seconds); ++pass) {
        for (const ggml_type type : types) {
            for (const int width : widths)
                bench.product(type, width, share, speed.gflops[ggml_type_name(type)][width]);
        }
        bench.layer(share * layerShare, speed.layerNanoseconds);
    }
    speed.processorShare = bench.processorShare();
    speed.seconds = now() - start;
    return speed;
}
