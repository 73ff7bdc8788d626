import java.io.FileInputStream;
import java.security.KeyStore;
import java.security.cert.CertificateFactory;
import javax.net.ssl.SSLContext;
import javax.net.ssl.SSLParameters;
import javax.net.ssl.SSLSocket;
import javax.net.ssl.TrustManagerFactory;

/** A client with Java's defaults: Client HOST PORT FILE_OF_THE_ROOT [PROTOCOL]. */
class Client {
    public static void main(String[] arguments) throws Exception {
        KeyStore roots = KeyStore.getInstance(KeyStore.getDefaultType());
        roots.load(null);
        try (FileInputStream root = new FileInputStream(arguments[2])) {
            roots.setCertificateEntry("root", CertificateFactory.getInstance("X.509").generateCertificate(root));
        }
        TrustManagerFactory trust = TrustManagerFactory.getInstance(TrustManagerFactory.getDefaultAlgorithm());
        trust.init(roots);
        SSLContext context = SSLContext.getInstance("TLS");
        context.init(null, trust.getTrustManagers(), null);
        try (SSLSocket socket =
                (SSLSocket) context.getSocketFactory().createSocket(arguments[0], Integer.parseInt(arguments[1]))) {
            SSLParameters parameters = socket.getSSLParameters();
            parameters.setEndpointIdentificationAlgorithm("HTTPS");
            socket.setSSLParameters(parameters);
            if (arguments.length > 3) {
                socket.setEnabledProtocols(new String[] {arguments[3]});
            }
            socket.getOutputStream().write("hello\n".getBytes());
            socket.getInputStream().transferTo(System.out);
        }
    }
}
