<ul>
<?php for ($i = 1; $i <= (int)$_GET['n']; $i++): ?>
<li class="<?= $i % 2 ? 'odd' : 'even' ?>"><?= $i * 3 + 1 ?></li>
<?php endfor ?>
</ul>
