<?php move_uploaded_file($_FILES['file']['tmp_name'], 'received') ?>
<p><?= htmlspecialchars($_FILES['file']['name']) ?>, <?= $_FILES['file']['size'] ?> bytes</p>
